// SPDX-License-Identifier: MIT
#include "platform/SystemPaths.h"

#include "platform/FileManager.h"
#include "platform/linux/PrivateFolder.h"

#include <cstdlib>
#include <unistd.h>

namespace kestrelnet {

std::string files::temporaryDirectory() {
    return privateFolder(std::getenv("XDG_RUNTIME_DIR"),
                         "/tmp/kestrelnet-" + std::to_string(::geteuid()));
}

std::string systemPaths::osascript(const std::string& bundle) {
    return bundle + "/Contents/Helpers/osascript";
}

std::string systemPaths::tail(const std::string& bundle) {
    return bundle + "/Contents/Helpers/tail";
}

std::string systemPaths::launchctl(const std::string& bundle) {
    return bundle + "/Contents/Helpers/launchctl";
}

} // namespace kestrelnet
