// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

/// The command of the one statement that is understood,
///   do shell script "COMMAND" with administrator privileges
/// with the string's escapes \\ \" \n \r \t read; nothing for any other text. Words may stand
/// apart by any number of blanks, tabs and line ends around the statement, and blanks and tabs in
/// it. The command may be empty; it holds no NUL.
std::optional<std::string> administratorCommand(std::string_view script);

} // namespace kestrelnet
