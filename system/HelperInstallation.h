// SPDX-License-Identifier: MIT
// The texts of the commands that install the privileged helper.
#pragma once

#include <string>

namespace kestrelnet {

/// Runs the installer at `scriptPath`, which stands between single quotes as it is.
std::string scriptInstallCommand(const std::string& scriptPath);

/// Writes a launcher of two lines for the client to `helperPath`, in an existing folder or not, as
/// root's and set-user-ID. Single quotes in the client's path are escaped for the shell. The text
/// holds double quotes, which an AppleScript string ends at.
std::string inlineInstallCommand(const std::string& clientPath, const std::string& helperPath);

} // namespace kestrelnet
