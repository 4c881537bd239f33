// SPDX-License-Identifier: MIT
// What a person sees who is not asked, or does not answer as hoped.
#include "tests/support/polkit/PromptTest.h"

#include <filesystem>

namespace kestrelnet {
namespace {

using testing::HasSubstr;

const std::string message = "Kestrelnet needs administrator rights to start the VPN tunnel";

class PromptRefusalTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        install("relay-then-routes");
    }

    /// Connects in vain: the run ends in the error state, and leaves nothing behind.
    void connectInVain() {
        startController();
        controller->tell("connect");
        EXPECT_TRUE(tells("log Starting VPN..."));
        EXPECT_TRUE(tells("status Error"));
        EXPECT_TRUE(tells(exitLine));
        EXPECT_TRUE(isTidy());
    }
};

TEST_F(PromptRefusalTest, aDismissedPrompt) {
    world.startPolkit();
    world.startAgent("--cancel");
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: the request for administrator rights was dismissed.");
}

TEST_F(PromptRefusalTest, aWrongPassword) {
    world.startPolkit();
    ChildProgram& agent = world.startAgent("wrong");
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: administrator rights were not granted.");
    EXPECT_TRUE(agent.reads("answered FAILURE"));
}

TEST_F(PromptRefusalTest, anAgentThatDies) {
    world.startPolkit();
    world.startAgent("--die");
    connectInVain();
    EXPECT_THAT(readError().value_or(""), HasSubstr("Kestrelnet: "));
}

TEST_F(PromptRefusalTest, noAgent) {
    world.startPolkit();
    connectInVain();
    EXPECT_EQ(readError(),
              "Kestrelnet: administrator rights cannot be asked for: this session has no polkit "
              "authentication agent, which would ask for the password.");
}

TEST_F(PromptRefusalTest, noPolkitDaemon) {
    std::filesystem::remove("/usr/share/dbus-1/system-services/org.freedesktop.PolicyKit1.service");
    connectInVain();
    EXPECT_THAT(readError().value_or(""), HasSubstr("Kestrelnet: "));
}

TEST_F(PromptRefusalTest, noPkexec) {
    world.startPolkit();
    std::filesystem::remove("/usr/bin/pkexec");
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: administrator rights cannot be asked for: pkexec, a part "
                           "of polkit, is not installed.");
}

TEST_F(PromptRefusalTest, aUserWhoIsNoAdministratorAndNobodyElseIs) {
    world.startPolkit();
    world.startAgent("right");
    // Without a name among the administrators polkit asks for root's password, which is another.
    rootWorld::removeAdministrator(rootWorld::user);
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: administrator rights were not granted.");
}

TEST_F(PromptRefusalTest, afterARefusalTheNextConnectAsksAgain) {
    world.startPolkit();
    world.startAgent("--cancel");
    connectInVain();
    world.startAgent("right");
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
}

TEST_F(PromptRefusalTest, disconnectingTakesAnOpenPromptBack) {
    world.startPolkit();
    ChildProgram& agent = world.startAgent("--hang");
    startController();
    controller->tell("connect");
    EXPECT_THAT(agent.readLine().value_or(""), HasSubstr("request"));
    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    EXPECT_EQ(agent.readLine(), "cancelled");
    EXPECT_TRUE(isTidy());
    EXPECT_EQ(readError(), "Kestrelnet: the request for administrator rights was taken back.");
}

TEST_F(PromptRefusalTest, thePromptSaysWhatItIsFor) {
    world.startPolkit();
    ChildProgram& agent = world.startAgent("--cancel");
    connectInVain();
    EXPECT_EQ(agent.readLine(), "request com.kestrelnetvpn.app.connect " + message);
}

TEST_F(PromptRefusalTest, noPasswordIsKeptForLater) {
    world.startPolkit();
    world.startAgent("right");
    startController();
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    world.startAgent("--cancel");
    install("relay-then-routes");
    controller->tell("connect");
    EXPECT_TRUE(tells("status Error"));
}

} // namespace
} // namespace kestrelnet
