// SPDX-License-Identifier: MIT
#include "tests/core/TunnelTest.h"

#include <filesystem>
#include <signal.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DisconnectTest : public TunnelTest {
  protected:
    /// Disconnects and waits until the background stop sleeps for the first time.
    void beginStop() {
        manager->disconnect();
        time.settle();
        ASSERT_EQ(time.sleeperCount(), 1U);
    }

    /// A client that has received the request to end and ignores it.
    const FakeClient& startAndBeginStop() {
        const FakeClient& client = start("stubborn");
        beginStop();
        EXPECT_TRUE(time.waitHoldingMain([&] { return client.terminations() == 1; }));
        return client;
    }
};

// -- Nothing runs ------------------------------------------------------------------------------

TEST_F(DisconnectTest, withoutARunAnyStatusBecomesDisconnectedImmediately) {
    for (const TunnelStatus status :
         {TunnelStatus::disconnected, TunnelStatus::connecting, TunnelStatus::connected,
          TunnelStatus::reconnecting, TunnelStatus::error}) {
        manager->status = status;
        manager->exitIP = "192.0.2.9";
        manager->serverLocation = "lisbon";
        manager->lastLog = "kept";
        manager->disconnect();
        EXPECT_EQ(snapshot(), (Snapshot{"Disconnected", "kept", "none", "none"}));
    }
    EXPECT_EQ(time.pendingCount(), 0U);
    EXPECT_EQ(time.sleeperCount(), 0U);
}

TEST_F(DisconnectTest, withoutARunStatusThenAddressThenLocationAreAnnounced) {
    manager->status = TunnelStatus::error;
    manager->exitIP = "192.0.2.9";
    manager->serverLocation = "lisbon";
    recordNotices();
    manager->disconnect();
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Error", "", "192.0.2.9", "lisbon"},
                                     Snapshot{"Disconnected", "", "192.0.2.9", "lisbon"},
                                     Snapshot{"Disconnected", "", "none", "lisbon"}));
}

TEST_F(DisconnectTest, withoutARunTheLogIsKept) {
    const FakeClient& client = start();
    feed(client, "a line\n");
    client.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    manager->disconnect();
    EXPECT_THAT(log(), ElementsAre("a line"));
    EXPECT_EQ(*manager->lastLog, exitMessage);
}

// -- The escalating stop -----------------------------------------------------------------------

TEST_F(DisconnectTest, nothingChangesUntilTheClientHasEnded) {
    const FakeClient& client = start("stubborn");
    feed(client, "Split-tunnel routes: 1\n");
    recordNotices();
    beginStop();
    time.advance(Seconds(2.9));
    EXPECT_THAT(notices, IsEmpty());
    EXPECT_EQ(manager->status, TunnelStatus::connected);
    EXPECT_EQ(process()->processIdentifier(), client.pid());
}

TEST_F(DisconnectTest, aStubbornClientIsKilledAfterThreeSecondsAndNotBefore) {
    const FakeClient& client = startAndBeginStop();
    const auto stopped = process();
    time.advance(Seconds(2.9));
    EXPECT_TRUE(client.isAlive());
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    time.advance(Seconds(0.1));
    stopped->waitUntilExit();
    EXPECT_EQ(stopped->terminationStatus(), SIGKILL);
    ASSERT_TRUE(time.waitUntil([&] { return manager->status == TunnelStatus::disconnected; }));
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
    EXPECT_EQ(client.terminations(), 1U);
    EXPECT_EQ(time.clock()->now(), Clock::Time(std::chrono::seconds(3)));
}

TEST_F(DisconnectTest, theEndIsNoticedAtTheNextPoll) {
    const FakeClient& client = startAndBeginStop();
    time.advance(Seconds(0.25));
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client));
    time.advance(Seconds(0.04));
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_EQ(time.sleeperCount(), 1U);
    time.advance(Seconds(0.01));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(time.sleeperCount(), 0U);
}

TEST_F(DisconnectTest, aClientThatEndsImmediatelyIsNotKilledAndIsNoticedAtTheFirstPoll) {
    const FakeClient& client = start("exits-on-terminate");
    const auto stopped = process();
    manager->disconnect();
    ASSERT_TRUE(endsUnnoticed(client));
    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(stopped->terminationStatus(), 0);
}

TEST_F(DisconnectTest, aClientThatHasAlreadyEndedIsNotPolled) {
    const FakeClient& client = start();
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client));
    manager->disconnect();
    time.settle();
    EXPECT_EQ(time.sleeperCount(), 0U);
    time.runPending();
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(time.clock()->now(), Clock::Time{});
}

TEST_F(DisconnectTest, aRunThatCouldNotBeStartedIsReleased) {
    std::filesystem::remove(paths().helper);
    manager->connect();
    ASSERT_NE(process(), nullptr);
    manager->disconnect();
    time.settle();
    time.runPending();
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
}

// -- The clean-up ------------------------------------------------------------------------------

TEST_F(DisconnectTest, afterAnUnnoticedEndTheMessageStaysAndTheStatusBecomesDisconnected) {
    const FakeClient& client = startAndBeginStop();
    feed(client, "Discovered home server: lisbon\nSplit-tunnel routes: 1\n");
    manager->exitIP = "192.0.2.9";
    recordNotices();
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client));
    time.advance(Seconds(0.1));
    // The unexpected end comes first, then the clean-up.
    const std::string line = "Split-tunnel routes: 1";
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Connected", line, "192.0.2.9", "lisbon"},
                                     Snapshot{"Error", line, "192.0.2.9", "lisbon"},
                                     Snapshot{"Error", exitMessage, "192.0.2.9", "lisbon"},
                                     Snapshot{"Error", exitMessage, "none", "lisbon"},
                                     Snapshot{"Disconnected", exitMessage, "none", "lisbon"},
                                     Snapshot{"Disconnected", exitMessage, "none", "lisbon"}));
    EXPECT_EQ(snapshot(), (Snapshot{"Disconnected", exitMessage, "none", "none"}));
    EXPECT_FALSE(log().empty());
}

TEST_F(DisconnectTest, outputDuringTheStopIsStillHandled) {
    const FakeClient& client = startAndBeginStop();
    feed(client, "Split-tunnel routes: 1\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
    feed(client, "Network changed\n");
    EXPECT_EQ(manager->status, TunnelStatus::reconnecting);
}

// The main thread is busy while the client answers the request to end.
TEST_F(DisconnectTest, theLastOutputIsHandledBeforeTheCleanUp) {
    const FakeClient& client = startAndBeginStop();
    client.say("Reconnecting\n");
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.isHeard(); }));
    client.say("Split-tunnel routes: 1\n");
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client, 1));
    ASSERT_TRUE(time.waitUntil([this] { return process() == nullptr; }));
    EXPECT_EQ(log().size(), 2U);
    time.advance(Seconds(0.1));
    EXPECT_EQ(snapshot(), (Snapshot{"Disconnected", exitMessage, "none", "none"}));
}

TEST_F(DisconnectTest, twoDisconnectsTerminateTwiceAndCleanUpTwice) {
    const FakeClient& client = startAndBeginStop();
    manager->disconnect();
    EXPECT_TRUE(time.waitHoldingMain([&] { return client.terminations() == 2; }));
    time.settle();
    EXPECT_EQ(time.sleeperCount(), 2U);
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client));
    time.runPending();
    recordNotices();
    time.advance(Seconds(0.1));
    EXPECT_EQ(notices.size(), 6U);
    EXPECT_EQ(snapshot(), (Snapshot{"Disconnected", exitMessage, "none", "none"}));
}

// -- Deliberately unguarded --------------------------------------------------------------------

TEST_F(DisconnectTest, aLateCleanUpReleasesTheNextRunWhichContinues) {
    const FakeClient& first = startAndBeginStop();
    first.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    const FakeClient& second = start("routes");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    EXPECT_EQ(process()->processIdentifier(), second.pid());

    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
    EXPECT_TRUE(second.isAlive());

    // Standard error is still read, standard output is not.
    second.say("unread\n");
    feedError(second, "read\n");
    EXPECT_EQ(*manager->lastLog, "read");

    // A disconnect does not reach it either.
    manager->disconnect();
    time.advance(Seconds(4));
    EXPECT_TRUE(second.isAlive());
}

TEST_F(DisconnectTest, theStopContinuesWithoutTheController) {
    const FakeClient& client = startAndBeginStop();
    const auto stopped = process();
    const std::weak_ptr<TunnelManager> gone = manager;
    manager.reset();
    EXPECT_TRUE(gone.expired());
    time.advance(Seconds(2.9));
    EXPECT_TRUE(client.isAlive());
    time.advance(Seconds(0.1));
    stopped->waitUntilExit();
    EXPECT_EQ(stopped->terminationStatus(), SIGKILL);
    time.runPending();
}

} // namespace
} // namespace kestrelnet
