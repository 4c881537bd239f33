// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text functions that need Unicode tables. All text is UTF-8. Any thread.
namespace kestrelnet::text {

/// The number of grapheme clusters: a letter with its combining marks counts as one.
std::size_t characterCount(std::string_view text);

/// `text` without white space and line breaks, as Unicode defines them, at both ends.
std::string trimWhitespaceAndNewlines(std::string_view text);

/// Whether `bytes` is valid UTF-8.
bool isValidUtf8(std::string_view bytes);

} // namespace kestrelnet::text
