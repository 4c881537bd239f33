// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// The AppleScript statement that runs `command`, a shell command line, as root behind the
/// administrator prompt. The command is inserted byte for byte, without escaping: a double quote
/// or a backslash in it is read as part of the AppleScript syntax.
std::string administratorStatement(const std::string& command);

} // namespace kestrelnet
