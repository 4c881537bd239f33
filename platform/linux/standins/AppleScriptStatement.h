// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

/// Returns the command of the one statement that the application writes,
///   do shell script "COMMAND" with administrator privileges
/// with single blanks and nothing around it, and with the escapes \\ \" \n \r \t in the string
/// resolved. Returns nothing for any other text. The command may be empty; it never holds a NUL.
std::optional<std::string> administratorCommand(std::string_view script);

} // namespace kestrelnet
