// SPDX-License-Identifier: MIT
// The text of a command that needs an administrator's rights.
#pragma once

#include <string>

namespace kestrelnet {

/// The AppleScript statement that runs `command`, a shell command line, as root. The command stands
/// in it byte for byte: its double quotes and backslashes are read as the statement's own.
std::string administratorStatement(const std::string& command);

} // namespace kestrelnet
