// SPDX-License-Identifier: MIT
#include "platform/SystemPaths.h"
#include "platform/FileManager.h"

#include <array>
#include <climits>
#include <unistd.h>

namespace kestrelnet {

std::string files::temporaryDirectory(const std::string& /*name*/) {
    std::array<char, PATH_MAX> folder{};
    const std::size_t size = ::confstr(_CS_DARWIN_USER_TEMP_DIR, folder.data(), folder.size());
    // Nothing can be created below /dev/null, so every later use fails.
    if (size == 0 || size > folder.size()) {
        return "/dev/null/";
    }
    std::string path = folder.data();
    return path.ends_with('/') ? path : path + '/';
}

std::string systemPaths::osascript(const std::string&) {
    return "/usr/bin/osascript";
}

std::string systemPaths::tail(const std::string&) {
    return "/usr/bin/tail";
}

std::string systemPaths::launchctl(const std::string&) {
    return "/bin/launchctl";
}

} // namespace kestrelnet
