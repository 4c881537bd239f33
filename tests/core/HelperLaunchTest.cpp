// SPDX-License-Identifier: MIT
#include "platform/BackgroundThread.h"
#include "tests/core/TunnelTest.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/Waiting.h"

#include <filesystem>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using HelperLaunchTest = TunnelTest;

// -- What the client gets ----------------------------------------------------------------------

TEST_F(HelperLaunchTest, theClientGetsTheThreeVariables) {
    operatorValues.authURL = "https://kestrelnet.example/other/api";
    operatorValues.relayAddress = "192.0.2.200:443";
    manager = makeManager();
    const FakeClient& client = start();
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), validKey);
    EXPECT_EQ(client.environment("AUTH_URL"), "https://kestrelnet.example/other/api");
    EXPECT_EQ(client.environment("RELAY_ADDR"), "192.0.2.200:443");
}

TEST_F(HelperLaunchTest, theKeyReachesTheClientUnchanged) {
    manager->apiKey = "dev_ '\"$HOME`id`\\;&|<>*?#~!(){}[] \t\xC3\xA9 ";
    const FakeClient& client = start();
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), *manager->apiKey);
}

TEST_F(HelperLaunchTest, theVariablesReplaceThoseOfTheApplication) {
    const ScopedVariable key("DEVICE_API_KEY", "inherited");
    const ScopedVariable url("AUTH_URL", "https://inherited.example");
    const ScopedVariable relay("RELAY_ADDR", "inherited:1");
    const FakeClient& client = start();
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), validKey);
    EXPECT_EQ(client.environment("AUTH_URL"), operatorValues.authURL);
    EXPECT_EQ(client.environment("RELAY_ADDR"), operatorValues.relayAddress);
}

TEST_F(HelperLaunchTest, theRestOfTheEnvironmentAndTheFolderAreTheApplications) {
    const ScopedVariable mark("KESTRELNET_TEST_MARK", "a b=c");
    const FakeClient& client = start();
    EXPECT_EQ(client.environment("KESTRELNET_TEST_MARK"), "a b=c");
    EXPECT_THAT(client.found("working-directory"),
                ElementsAre(std::filesystem::current_path().string()));
}

TEST_F(HelperLaunchTest, theHelperGetsNoArgument) {
    EXPECT_THAT(start().arguments(), IsEmpty());
}

TEST_F(HelperLaunchTest, theClientHoldsNoDescriptorOfTheApplication) {
    EXPECT_THAT(start().found("descriptor"), ElementsAre("0", "1", "2"));
}

// -- The run -----------------------------------------------------------------------------------

TEST_F(HelperLaunchTest, theStatusStaysUntilTheClientWritesOutput) {
    const FakeClient& client = start();
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    EXPECT_EQ(*manager->lastLog, "Starting VPN...");
    EXPECT_EQ(process()->processIdentifier(), client.pid());
    EXPECT_NE(pipe(), nullptr);
}

TEST_F(HelperLaunchTest, aCompleteStartReachesConnected) {
    start("relay-then-routes");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    EXPECT_EQ(*manager->serverLocation, "lisbon");
    EXPECT_EQ(*manager->lastLog, "Split-tunnel routes: 2 applied");
    EXPECT_EQ(log().size(), 3U);
}

TEST_F(HelperLaunchTest, theEndIsNoticedWhileAGrandchildKeepsTheStreamsOpen) {
    const FakeClient& client = install("leaves-grandchild");
    manager->connect();
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    ASSERT_TRUE(time.waitUntil([&] { return client.grandchild().has_value(); }));
    EXPECT_TRUE(isAlive(*client.grandchild()));
}

TEST_F(HelperLaunchTest, aClientThatBecomesADaemonCountsAsEnded) {
    install("daemonises");
    manager->connect();
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(process(), nullptr);
}

// -- Failures to start -------------------------------------------------------------------------

TEST_F(HelperLaunchTest, aMissingHelperIsAnErrorThatKeepsTheUnstartedRun) {
    std::filesystem::remove(paths().helper);
    recordNotices();
    manager->connect();
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_EQ(*manager->lastLog, "Failed to start helper: No such file or directory");
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Disconnected", "", "none", "none"},
                                     Snapshot{"Connecting...", "", "none", "none"},
                                     Snapshot{"Connecting...", "Starting VPN...", "none", "none"},
                                     Snapshot{"Error", "Starting VPN...", "none", "none"}));
    ASSERT_NE(process(), nullptr);
    EXPECT_EQ(process()->processIdentifier(), 0);
    EXPECT_NE(pipe(), nullptr);
}

TEST_F(HelperLaunchTest, aHelperThatIsNotExecutableIsAnError) {
    std::filesystem::remove(paths().helper);
    world->root.write("helpers/com.kestrelnetvpn.tunnel", "#!/bin/sh\n");
    manager->connect();
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_THAT(*manager->lastLog, StartsWith("Failed to start helper: "));
}

TEST_F(HelperLaunchTest, afterAFailedStartAConnectIsAccepted) {
    std::filesystem::remove(paths().helper);
    manager->connect();
    const FakeClient& client = start();
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    EXPECT_EQ(process()->processIdentifier(), client.pid());
}

// -- The controller goes away ------------------------------------------------------------------

TEST_F(HelperLaunchTest, aRunningClientNeitherKeepsTheControllerAliveNorEndsWithIt) {
    const FakeClient& client = start();
    client.say("late\n");
    ASSERT_TRUE(time.waitHoldingMain([this] { return time.pendingCount() == 1; }));
    const std::weak_ptr<TunnelManager> gone = manager;
    manager.reset();
    EXPECT_TRUE(gone.expired());
    time.runPending();
    EXPECT_TRUE(client.isAlive());
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client));
    time.runPending();
}

// -- Many runs ---------------------------------------------------------------------------------

TEST_F(HelperLaunchTest, manyRunsLeaveNothingBehind) {
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    constexpr int rounds = 30;
    for (int round = 0; round < rounds; ++round) {
        // Each client uses one descriptor of the test for its commands.
        const FakeClient& client = start();
        feed(client, "Connected to relay\n");
        client.exit(0);
        ASSERT_TRUE(reaches(TunnelStatus::error));
        EXPECT_TRUE(client.isGone());
        if (round == 0) {
            threads = runningThreads();
            descriptors = openDescriptors();
        }
    }
    EXPECT_TRUE(
        time.waitUntil([&] { return runningThreads() <= threads + BackgroundThread::mostSpares; }));
    EXPECT_TRUE(time.waitUntil([&] { return openDescriptors() <= descriptors + rounds - 1; }));
}

} // namespace
} // namespace kestrelnet
