// SPDX-License-Identifier: MIT
// The texts of a launch behind the administrator prompt.
#pragma once

#include <string>

namespace kestrelnet {

struct LauncherValues {
    std::string apiKey;
    std::string authURL;
    std::string relayAddress;
    std::string clientPath;
};

/// The shell script that runs the client with its environment. The values are inserted between
/// single quotes, without escaping.
std::string launcherScript(const LauncherValues& values);

/// The AppleScript statement that runs the launcher as root and redirects its output to the FIFO.
/// The paths are inserted without quoting or escaping.
std::string runnerCommand(const std::string& launcherPath, const std::string& fifoPath);

} // namespace kestrelnet
