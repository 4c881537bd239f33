// SPDX-License-Identifier: MIT
#include "core/Platform.h"
#include "platform/Bundle.h"
#include "platform/FileManager.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace kestrelnet {
namespace {

class PlatformTest : public testing::Test {
  protected:
    PlatformTest() {
        EXPECT_EQ(::setenv("XDG_CONFIG_HOME", folder.file("config").c_str(), 1), 0);
        std::filesystem::create_directory(folder.file("runtime"));
        EXPECT_TRUE(files::setPermissions(folder.file("runtime"), 0700));
        EXPECT_EQ(::setenv("XDG_RUNTIME_DIR", folder.file("runtime").c_str(), 1), 0);
    }

    TemporaryFolder folder;
};

TEST_F(PlatformTest, knowsTheFixedPaths) {
    const Paths paths = Platform::system().paths;
    EXPECT_EQ(paths.helper, "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel");
    EXPECT_EQ(paths.systemClient, "/usr/local/bin/kestrelnet-client");
    EXPECT_EQ(paths.bundle, bundle::mainBundlePath());
    EXPECT_EQ(paths.home, files::homeDirectory());
    EXPECT_EQ(paths.temporaryDirectory, folder.file("runtime/"));
    EXPECT_EQ(paths.osascript, paths.bundle + "/Contents/Helpers/osascript");
    EXPECT_EQ(paths.tail, paths.bundle + "/Contents/Helpers/tail");
}

TEST_F(PlatformTest, hasEveryService) {
    const Platform platform = Platform::system();
    EXPECT_NE(platform.defaults, nullptr);
    EXPECT_NE(platform.mainQueue, nullptr);
    EXPECT_NE(platform.backgroundQueue, nullptr);
    EXPECT_NE(platform.clock, nullptr);
    EXPECT_NE(platform.urlSession, nullptr);
}

TEST_F(PlatformTest, keepsTheSettingsInTheUsersConfigurationFolder) {
    const std::string path = folder.file("config/com.kestrelnetvpn.app.conf");
    Platform::system();
    EXPECT_FALSE(files::exists(path));
    UserDefaults::standard(product::settingsDomain)->set("kestrelnet_auto_connect", true);
    EXPECT_EQ(readFile(path), "[General]\nkestrelnet_auto_connect=true\n");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    EXPECT_TRUE(
        UserDefaults::standard(product::settingsDomain)->boolean("kestrelnet_auto_connect"));
}

} // namespace
} // namespace kestrelnet
