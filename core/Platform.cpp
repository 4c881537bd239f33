// SPDX-License-Identifier: MIT
#include "core/Platform.h"

#include "platform/Bundle.h"
#include "platform/FileManager.h"
#include "platform/SystemPaths.h"

namespace kestrelnet {

Platform Platform::system() {
    Platform platform;
    platform.paths.bundle = bundle::mainBundlePath();
    platform.paths.home = files::homeDirectory();
    platform.paths.temporaryDirectory = files::temporaryDirectory(product::temporaryFolderName);
    platform.paths.osascript = systemPaths::osascript(platform.paths.bundle);
    platform.paths.tail = systemPaths::tail(platform.paths.bundle);
    platform.paths.launchctl = systemPaths::launchctl(platform.paths.bundle);
    platform.defaults = UserDefaults::standard(product::settingsDomain);
    platform.mainQueue = dispatch::mainQueue();
    platform.backgroundQueue = dispatch::backgroundQueue();
    platform.clock = dispatch::systemClock();
    platform.urlSession = std::make_shared<URLSession>();
    return platform;
}

} // namespace kestrelnet
