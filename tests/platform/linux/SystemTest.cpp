// SPDX-License-Identifier: MIT
#include "platform/Bundle.h"
#include "platform/FileManager.h"
#include "platform/Platform.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace kestrelnet {
namespace {

class SystemTest : public testing::Test {
  protected:
    SystemTest() {
        EXPECT_EQ(::setenv("XDG_CONFIG_HOME", folder.file("config").c_str(), 1), 0);
        std::filesystem::create_directory(folder.file("runtime"));
        EXPECT_TRUE(files::setPermissions(folder.file("runtime"), 0700));
        EXPECT_EQ(::setenv("XDG_RUNTIME_DIR", folder.file("runtime").c_str(), 1), 0);
    }

    TemporaryFolder folder;
};

TEST_F(SystemTest, KnowsTheFixedPlaces) {
    const Paths paths = Platform::system().paths;
    EXPECT_EQ(paths.helper, "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel");
    EXPECT_EQ(paths.systemClient, "/usr/local/bin/kestrelnet-client");
    EXPECT_EQ(paths.bundle, bundle::mainBundlePath());
    EXPECT_EQ(paths.home, files::homeDirectory());
    EXPECT_EQ(paths.temporaryDirectory, folder.file("runtime/"));
    EXPECT_EQ(paths.osascript, paths.bundle + "/Contents/Helpers/osascript");
    EXPECT_EQ(paths.tail, paths.bundle + "/Contents/Helpers/tail");
}

TEST_F(SystemTest, HasEveryService) {
    const Platform platform = Platform::system();
    EXPECT_NE(platform.defaults, nullptr);
    EXPECT_NE(platform.mainQueue, nullptr);
    EXPECT_NE(platform.backgroundQueue, nullptr);
    EXPECT_NE(platform.clock, nullptr);
    EXPECT_NE(platform.urlSession, nullptr);
}

TEST_F(SystemTest, KeepsTheSettingsInTheUsersConfigurationFolder) {
    const std::string path = folder.file("config/com.kestrelnetvpn.app.conf");
    Platform::system();
    EXPECT_FALSE(files::exists(path));
    UserDefaults::standard()->set("kestrelnet_auto_connect", true);
    EXPECT_EQ(readFile(path), "[General]\nkestrelnet_auto_connect=true\n");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
    EXPECT_TRUE(UserDefaults::standard()->boolean("kestrelnet_auto_connect"));
}

/// Whether this process has loaded what a secure connection needs.
bool hasLoadedTls() {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/libssl.") != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::ptrdiff_t threadCount() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(threads, {});
}

TEST_F(SystemTest, LoadsAndStartsNothingForTheNetworkBeforeTheFirstLookup) {
    const auto threads = threadCount();
    URLSession session;
    EXPECT_FALSE(hasLoadedTls());
    EXPECT_EQ(threadCount(), threads);
    session.data("https://127.0.0.1:1", [](const auto&) {});
    EXPECT_TRUE(hasLoadedTls());
    EXPECT_GT(threadCount(), threads);
}

} // namespace
} // namespace kestrelnet
