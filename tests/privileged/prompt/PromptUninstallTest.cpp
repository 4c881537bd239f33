// SPDX-License-Identifier: MIT
// The files that are left after an uninstallation, with a real autostart entry, a real helper and
// polkit.
#include "tests/support/polkit/PromptTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAreArray;
using testing::IsSupersetOf;

const std::string helperFolder = "/Library/PrivilegedHelperTools";
const std::string helper = helperFolder + "/com.kestrelnetvpn.tunnel";
const std::string settings = ".config/com.kestrelnetvpn.app.conf";
const std::string entry = ".config/autostart/com.kestrelnetvpn.app.desktop";
const std::string agentFile = "Library/LaunchAgents/com.kestrelnetvpn.app.plist";

class PromptUninstallTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
        writeHome(".zshrc", "# mine\nsource ~/.kestrelnet/env\n");
        writeHome(".bashrc", "export PATH=\"$HOME/.kestrelnet:$PATH\"\r\nset -o vi");
        writeHome("letters/one", ".kestrelnet\n");
    }

    static std::string inHome(const std::string& name) { return rootWorld::user.home + "/" + name; }
    static void own(const fs::path& path) {
        EXPECT_EQ(::lchown(path.c_str(), rootWorld::user.uid, rootWorld::user.gid), 0) << path;
    }
    static void writeHome(const std::string& name, std::string_view text) {
        const fs::path path = inHome(name);
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text;
        own(path);
        own(path.parent_path());
    }
    /// Every file below the home folder and in the helper's folder.
    static std::vector<std::string> everything() {
        std::vector<std::string> found;
        for (const auto& file : fs::recursive_directory_iterator(rootWorld::user.home)) {
            found.push_back(file.path().lexically_relative(rootWorld::user.home));
        }
        if (fs::exists(helperFolder)) {
            for (const auto& file : fs::directory_iterator(helperFolder)) {
                found.push_back(file.path());
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    /// A user who has used every feature.
    void settleIn(std::string_view mode = "relay-then-routes") {
        FakeClient& client = install(mode);
        client.installScriptAt(inHome(".kestrelnet/kestrelnet-client"));
        fs::remove("/usr/local/bin/kestrelnet-client");
        own(inHome(".kestrelnet"));
        own(inHome(".kestrelnet/kestrelnet-client"));
        startController();
        controller->tell("install");
        ASSERT_TRUE(tells("installed true"));
        controller->tell("login on");
        ASSERT_TRUE(tells("switched"));
    }
    void uninstall() {
        controller->tell("uninstall");
        EXPECT_TRUE(tells("uninstalled"));
    }
};

TEST_F(PromptUninstallTest, leavesTheApplicationAndForeignFiles) {
    world.startAgent("right");
    const std::vector<std::string> before = everything();
    settleIn();
    const std::vector<std::string> settled = everything();
    EXPECT_THAT(settled, IsSupersetOf({settings, entry, agentFile, helper,
                                       std::string(".kestrelnet/kestrelnet-client")}));
    uninstall();

    std::vector<std::string> expected = before;
    // Folders of the system's, and the copy of the client that only the helper runs.
    expected.insert(expected.end(), {".config", ".config/autostart", "Library",
                                     "Library/LaunchAgents", helperFolder + "/kestrelnet-client"});
    std::sort(expected.begin(), expected.end());
    expected.erase(std::unique(expected.begin(), expected.end()), expected.end());
    EXPECT_THAT(everything(), ElementsAreArray(expected));
    EXPECT_EQ(readFile(inHome(".zshrc")), "# mine\n");
    EXPECT_EQ(readFile(inHome(".bashrc")), "set -o vi");
    EXPECT_EQ(readFile(inHome("letters/one")), ".kestrelnet\n");
    EXPECT_TRUE(fs::exists(rootWorld::bundle + "/Contents/Helpers/com.kestrelnetvpn.tunnel"));
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptUninstallTest, keepsOnlyTheHelperWhenThePromptIsDismissed) {
    world.startAgent("right");
    settleIn();
    world.stopAgent();
    world.startAgent("--cancel");
    uninstall();
    EXPECT_EQ(readError(), "Kestrelnet: the request for administrator rights was dismissed.");
    const std::vector<std::string> left = everything();
    EXPECT_THAT(left, Contains(helper));
    for (const std::string& name : {settings, entry, agentFile, std::string(".kestrelnet")}) {
        EXPECT_THAT(left, testing::Not(Contains(name)));
    }
    EXPECT_EQ(readFile(inHome(".zshrc")), "# mine\n");
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptUninstallTest, disconnectsFirst) {
    world.startAgent("right");
    settleIn();
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
    controller->tell("uninstall");
    EXPECT_TRUE(tells("status Disconnected"));
    EXPECT_TRUE(tells("uninstalled"));
    EXPECT_FALSE(fs::exists(helper));
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptUninstallTest, doesNotPromptTheSecondTime) {
    world.startAgent("right");
    settleIn();
    uninstall();
    const std::vector<std::string> left = everything();
    world.stopAgent();
    // A prompt would now stay unanswered.
    uninstall();
    EXPECT_EQ(everything(), left);
}

TEST_F(PromptUninstallTest, keepsTheFilesOfOtherUsers) {
    const std::string theirs = rootWorld::stranger.home + "/.kestrelnet/file";
    fs::create_directories(fs::path(theirs).parent_path());
    std::ofstream(theirs) << "theirs";
    fs::remove_all(inHome(".kestrelnet"));
    world.startAgent("right");
    startController();
    fs::create_directory_symlink(fs::path(theirs).parent_path(), inHome(".kestrelnet"));
    uninstall();
    EXPECT_FALSE(fs::is_symlink(inHome(".kestrelnet")));
    EXPECT_EQ(readFile(theirs), "theirs");
}

} // namespace
} // namespace kestrelnet
