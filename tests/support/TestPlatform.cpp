// SPDX-License-Identifier: MIT
#include "tests/support/TestPlatform.h"

#include <filesystem>

namespace kestrelnet {

TestPlatform::TestPlatform()
    : platform{.paths = {.helper = root.file("helpers/com.kestrelnetvpn.tunnel"),
                         .systemClient = root.file("usr/local/bin/kestrelnet-client"),
                         .bundle = root.file("Kestrelnet.app"),
                         .home = root.file("home"),
                         .temporaryDirectory = root.file("tmp/"),
                         .osascript = root.file("usr/bin/osascript"),
                         .tail = root.file("usr/bin/tail"),
                         .launchctl = root.file("bin/launchctl")},
               .defaults = reopenDefaults(),
               .mainQueue = time.mainQueue(),
               .backgroundQueue = time.backgroundQueue(),
               .clock = time.clock(),
               .urlSession = std::make_shared<URLSession>()} {
    std::filesystem::create_directory(platform.paths.temporaryDirectory);
}

std::shared_ptr<UserDefaults> TestPlatform::reopenDefaults() const {
    return std::make_shared<UserDefaults>(defaultsFile);
}

} // namespace kestrelnet
