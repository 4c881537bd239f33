// SPDX-License-Identifier: MIT
// Installing the helper behind the administrator prompt, and connecting without one from then on.
#include "tests/support/polkit/PromptTest.h"

#include <filesystem>
#include <sys/stat.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const std::string helper = "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";

class PromptInstallTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
    }

    /// A client of the user's own, which root may run only as the copy that the installation makes.
    FakeClient& installOwnClient() {
        FakeClient& client = install("relay-then-routes");
        fs::remove("/usr/local/bin/kestrelnet-client");
        const std::string folder = rootWorld::user.home + "/.kestrelnet";
        client.installScriptAt(folder + "/kestrelnet-client");
        for (const std::string& path : {folder, folder + "/kestrelnet-client"}) {
            EXPECT_EQ(::chown(path.c_str(), rootWorld::user.uid, rootWorld::user.gid), 0);
        }
        return client;
    }
};

TEST_F(PromptInstallTest, theHelperIsRootsAndConnectsWithoutAPrompt) {
    ChildProgram& agent = world.startAgent("right");
    FakeClient& client = installOwnClient();
    startController();
    controller->tell("install");
    EXPECT_TRUE(tells("installed true"));
    EXPECT_TRUE(agent.reads("answered SUCCESS"));
    world.stopAgent();

    struct stat status {};
    ASSERT_EQ(::stat(helper.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_mode & 07777U, 04755U);
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
    EXPECT_EQ(client.found("user"), std::vector<std::string>{"0 0 0"});
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), "dev_0123456789");
    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptInstallTest, aDismissedPromptInstallsNothing) {
    world.startAgent("--cancel");
    installOwnClient();
    startController();
    controller->tell("install");
    EXPECT_TRUE(tells("installed false"));
    EXPECT_FALSE(fs::exists(helper));
    EXPECT_EQ(readError(), "Kestrelnet: the request for administrator rights was dismissed.");
}

TEST_F(PromptInstallTest, withoutAClientItSaysWhereItLooked) {
    world.startAgent("right");
    startController();
    controller->tell("install");
    EXPECT_TRUE(tells("installed false"));
    EXPECT_FALSE(fs::exists(helper));
    EXPECT_THAT(readError().value_or(""),
                testing::AllOf(HasSubstr("Kestrelnet: there is no kestrelnet-client to install"),
                               HasSubstr(rootWorld::user.home + "/.kestrelnet/kestrelnet-client")));
}

TEST_F(PromptInstallTest, withoutAScriptNobodyIsAsked) {
    ChildProgram& agent = world.startAgent("right");
    installOwnClient();
    fs::remove(rootWorld::bundle + "/Contents/Resources/install-helper.sh");
    startController();
    controller->tell("install");
    EXPECT_TRUE(tells("installed false"));
    EXPECT_THAT(readError().value_or(""), HasSubstr("osascript: syntax error"));
    // The first request that the agent hears is the next one.
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
    EXPECT_THAT(agent.readLine().value_or(""), HasSubstr("request"));
    EXPECT_EQ(agent.readLine(), "answered SUCCESS");
    EXPECT_FALSE(fs::exists(helper));
}

TEST_F(PromptInstallTest, aHelperWithoutRightsSaysSo) {
    world.startAgent("right");
    installOwnClient();
    startController();
    controller->tell("install");
    EXPECT_TRUE(tells("installed true"));
    // As on a file system that is mounted without set-user-ID programs.
    fs::permissions(helper, static_cast<fs::perms>(0755));
    controller->tell("connect");
    EXPECT_TRUE(tells("status Error"));
    EXPECT_TRUE(isTidy());
}

} // namespace
} // namespace kestrelnet
