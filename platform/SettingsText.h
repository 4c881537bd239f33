// SPDX-License-Identifier: MIT
// Reads and changes the text of a settings file: an INI file as QSettings writes it. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet::settingsText {

/// The text that `file` holds for `key`, which consists of letters, digits and underscores, in the
/// section "General" or before the first section. Nothing when it is missing, a list, an object of
/// the toolkit, or not UTF-8. The last of several values counts.
std::optional<std::string> value(std::string_view file, std::string_view key);

/// Returns `file` with `value`, UTF-8, for `key`. All other values stay as they are; damaged lines
/// go.
std::string withValue(std::string_view file, std::string_view key, std::string_view value);

/// Whether `file` has a line that is neither a value, a section nor a comment.
bool isDamaged(std::string_view file);

} // namespace kestrelnet::settingsText
