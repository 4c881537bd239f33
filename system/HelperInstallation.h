// SPDX-License-Identifier: MIT
// The shell commands that install the privileged helper.
#pragma once

#include <string>

namespace kestrelnet {

/// Runs the installer at `scriptPath`. The path is inserted between single quotes, without
/// escaping.
std::string scriptInstallCommand(const std::string& scriptPath);

/// Creates the folder of `helperPath` if needed and writes a launcher of two lines for the client
/// to `helperPath`, owned by root and set-user-ID. Single quotes in the client's path are escaped
/// for the shell. The command contains double quotes, which end an AppleScript string.
std::string inlineInstallCommand(const std::string& clientPath, const std::string& helperPath);

} // namespace kestrelnet
