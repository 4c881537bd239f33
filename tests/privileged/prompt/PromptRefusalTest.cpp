// SPDX-License-Identifier: MIT
// The messages after a prompt that is not answered or not shown.
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

    /// Connects, and expects the run to end in the error state and leave nothing behind.
    void connectInVain() {
        startController();
        controller->tell("connect");
        EXPECT_TRUE(tells("log Starting VPN..."));
        EXPECT_TRUE(tells("status Error"));
        EXPECT_TRUE(tells(exitLine));
        EXPECT_TRUE(isTidy());
    }
};

TEST_F(PromptRefusalTest, reportsADismissedPrompt) {
    world.startPolkit();
    world.startAgent("--cancel");
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: the request for administrator rights was dismissed.");
}

TEST_F(PromptRefusalTest, reportsAWrongPassword) {
    world.startPolkit();
    ChildProgram& agent = world.startAgent("wrong");
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: administrator rights were not granted.");
    EXPECT_TRUE(agent.reads("answered FAILURE"));
}

TEST_F(PromptRefusalTest, reportsAnAgentThatDies) {
    world.startPolkit();
    world.startAgent("--die");
    connectInVain();
    EXPECT_THAT(readError().value_or(""), HasSubstr("Kestrelnet: "));
}

TEST_F(PromptRefusalTest, reportsAMissingAgent) {
    world.startPolkit();
    connectInVain();
    EXPECT_EQ(readError(),
              "Kestrelnet: administrator rights cannot be asked for: this session has no polkit "
              "authentication agent, which would ask for the password.");
}

TEST_F(PromptRefusalTest, reportsAMissingPolkitDaemon) {
    std::filesystem::remove("/usr/share/dbus-1/system-services/org.freedesktop.PolicyKit1.service");
    connectInVain();
    EXPECT_THAT(readError().value_or(""), HasSubstr("Kestrelnet: "));
}

TEST_F(PromptRefusalTest, reportsAMissingPkexec) {
    world.startPolkit();
    std::filesystem::remove("/usr/bin/pkexec");
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: administrator rights cannot be asked for: pkexec, a part "
                           "of polkit, is not installed.");
}

TEST_F(PromptRefusalTest, refusesAUserWhenNobodyIsAdministrator) {
    world.startPolkit();
    world.startAgent("right");
    // Without administrators polkit asks for root's password, which is a different one.
    rootWorld::removeAdministrator(rootWorld::user);
    connectInVain();
    EXPECT_EQ(readError(), "Kestrelnet: administrator rights were not granted.");
}

TEST_F(PromptRefusalTest, asksAgainAfterARefusal) {
    world.startPolkit();
    world.startAgent("--cancel");
    connectInVain();
    world.startAgent("right");
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
}

TEST_F(PromptRefusalTest, disconnectingClosesAnOpenPrompt) {
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

TEST_F(PromptRefusalTest, thePromptShowsItsPurpose) {
    world.startPolkit();
    ChildProgram& agent = world.startAgent("--cancel");
    connectInVain();
    EXPECT_EQ(agent.readLine(), "request com.kestrelnetvpn.app.connect " + message);
}

TEST_F(PromptRefusalTest, keepsNoAuthorizationForLater) {
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
