// SPDX-License-Identifier: MIT
// The time that a client behind the administrator prompt has to end, and how often it is asked.
#include "tests/privileged/ClientScripts.h"
#include "tests/support/RootWorld.h"
#include "tests/support/polkit/PromptTest.h"

#include <chrono>
#include <csignal>
#include <filesystem>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class PromptGraceTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
        world.startAgent("right");
        std::filesystem::remove(scripts::asked);
    }
};

TEST_F(PromptGraceTest, aStubbornClientHasItsFullThreeSeconds) {
    FakeClient& client = connect("stubborn");
    const auto start = Clock::now();
    controller->tell("disconnect");
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_GE(Clock::now() - start, 3s);
    EXPECT_EQ(client.terminations(), 1U);
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptGraceTest, aClientMayEndInOrder) {
    FakeClient& client = connect("exits-on-terminate");
    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    EXPECT_TRUE(client.isGone());
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptGraceTest, aDisconnectLeavesTimeToCleanUp) {
    const FakeClient& client = connect("cleans-up", "2700");
    controller->tell("disconnect");
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_TRUE(client.hasCleanedUp());
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptGraceTest, quittingLeavesTimeToCleanUp) {
    const FakeClient& client = connect("cleans-up", "2700");
    controller->tell("quit");
    EXPECT_EQ(controller->exitStatus(), 0);
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_TRUE(client.hasCleanedUp());
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptGraceTest, loggingOutLeavesTimeToCleanUp) {
    const FakeClient& client = connect("cleans-up", "2700");
    const pid_t guard = processesOfTheRunner().second;
    // All processes of the session are asked to end, the guard among them. When the application
    // has ended, the user's processes are killed.
    rootWorld::signalProcesses(rootWorld::user, SIGTERM);
    ASSERT_EQ(::kill(guard, SIGTERM), 0);
    EXPECT_EQ(controller->exitStatus(), 0);
    rootWorld::signalProcesses(rootWorld::user, SIGKILL);
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_TRUE(client.hasCleanedUp());
    EXPECT_TRUE(waitFor([this] { return strays().empty(); })) << testing::PrintToString(strays());
}

TEST_F(PromptGraceTest, aWrapperAndItsVpnAreAskedOnceEach) {
    // A second SIGTERM would make the VPN skip its farewell.
    connectScript(scripts::wrapper);
    controller->tell("disconnect");
    EXPECT_TRUE(isTidy());
    EXPECT_EQ(readFile(scripts::asked), "wrapper\nvpn\n");
}

} // namespace
} // namespace kestrelnet
