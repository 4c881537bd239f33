// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// What only Unicode tables can tell about text. All text is UTF-8. Any thread.
namespace kestrelnet::text {

/// Characters as a person counts them: a letter with its combining marks is one.
std::size_t characterCount(std::string_view text);

/// `text` without white space and line breaks, in the full Unicode sense, at both ends.
std::string trimWhitespaceAndNewlines(std::string_view text);

/// Whether the whole of `bytes` is UTF-8 as it stands.
bool isValidUtf8(std::string_view bytes);

} // namespace kestrelnet::text
