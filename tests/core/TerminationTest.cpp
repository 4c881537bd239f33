// SPDX-License-Identifier: MIT
#include "tests/core/TunnelTest.h"

#include <filesystem>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class TerminationTest : public TunnelTest {
  protected:
    void leaveTemporaryFiles() const {
        world->root.write("tmp/kestrelnet-launcher.sh", "");
        world->root.write("tmp/kestrelnet-output.fifo", "");
    }
    bool temporaryFilesExist() const {
        return std::filesystem::exists(temporary("kestrelnet-launcher.sh")) ||
               std::filesystem::exists(temporary("kestrelnet-output.fifo"));
    }
};

TEST_F(TerminationTest, anEndIsAnErrorUnlessDisconnected) {
    for (const TunnelStatus status : {TunnelStatus::connecting, TunnelStatus::connected,
                                      TunnelStatus::reconnecting, TunnelStatus::error}) {
        manager->status = TunnelStatus::disconnected;
        const FakeClient& client = start();
        manager->status = status;
        manager->exitIP = "192.0.2.9";
        manager->serverLocation = "lisbon";
        client.exit(0);
        ASSERT_TRUE(time.waitUntil([this] { return process() == nullptr; }));
        EXPECT_EQ(snapshot(), (Snapshot{"Error", exitMessage, "none", "lisbon"}))
            << rawValue(status);
        EXPECT_EQ(pipe(), nullptr);
    }
}

TEST_F(TerminationTest, anEndWhileDisconnectedChangesNoMember) {
    const FakeClient& client = start();
    manager->status = TunnelStatus::disconnected;
    manager->exitIP = "192.0.2.9";
    manager->serverLocation = "lisbon";
    leaveTemporaryFiles();
    recordNotices();
    client.exit(0);
    ASSERT_TRUE(time.waitUntil([this] { return !temporaryFilesExist(); }));
    EXPECT_THAT(notices, IsEmpty());
    EXPECT_EQ(snapshot(), (Snapshot{"Disconnected", "Starting VPN...", "192.0.2.9", "lisbon"}));
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
}

TEST_F(TerminationTest, theExitStatusDoesNotMatter) {
    for (const int status : {0, 1, 126, 255}) {
        const FakeClient& client = start();
        client.exit(status);
        ASSERT_TRUE(reaches(TunnelStatus::error));
        EXPECT_EQ(*manager->lastLog, exitMessage);
    }
}

TEST_F(TerminationTest, aClientThatEndsWhileConnectedKeepsOnlyTheLocation) {
    const FakeClient& client = start("relay-then-routes");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    manager->exitIP = "192.0.2.9";
    recordNotices();
    client.exit(0);
    ASSERT_TRUE(time.waitUntil([this] { return process() == nullptr; }));
    const std::string line = "Split-tunnel routes: 2 applied";
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Connected", line, "192.0.2.9", "lisbon"},
                                     Snapshot{"Error", line, "192.0.2.9", "lisbon"},
                                     Snapshot{"Error", exitMessage, "192.0.2.9", "lisbon"}));
    EXPECT_EQ(snapshot(), (Snapshot{"Error", exitMessage, "none", "lisbon"}));
}

TEST_F(TerminationTest, aCancelledPromptIsAnErrorAndLeavesNoFile) {
    installAt(paths().tail, "script");
    const FakeClient& runner = installAt(paths().osascript, "script");
    manager->helperInstalled = false;
    manager->connect();
    ASSERT_TRUE(time.waitHoldingMain([&] { return runner.isReady(); }));
    EXPECT_TRUE(std::filesystem::exists(temporary("kestrelnet-launcher.sh")));
    EXPECT_TRUE(std::filesystem::is_fifo(temporary("kestrelnet-output.fifo")));
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    runner.exit(1);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    EXPECT_FALSE(temporaryFilesExist());
}

TEST_F(TerminationTest, theEndOfAHelperRunRemovesLeftoverFilesAsWell) {
    leaveTemporaryFiles();
    const FakeClient& client = start();
    EXPECT_TRUE(temporaryFilesExist());
    client.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_FALSE(temporaryFilesExist());
}

TEST_F(TerminationTest, pendingOutputIsHandledBeforeTheEnd) {
    const FakeClient& client = start();
    client.say("Discovered home server: oslo\n");
    ASSERT_TRUE(time.waitHoldingMain([this] { return time.pendingCount() == 1; }));
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client, 1));
    time.runPending();
    EXPECT_EQ(snapshot(), (Snapshot{"Error", exitMessage, "none", "oslo"}));
}

// The main thread is busy when the client writes its last lines and ends.
TEST_F(TerminationTest, everythingThatCouldBeReadAtTheEndIsHandledBeforeIt) {
    const FakeClient& client = start();
    client.say("Discovered home server: oslo\n");
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.isHeard(); }));
    ASSERT_EQ(time.pendingCount(), 1U);
    client.say("Split-tunnel routes: 1\n");
    client.sayOnError("Reconnecting\n");
    client.exit(0);
    ASSERT_TRUE(endsUnnoticed(client, 1));
    EXPECT_TRUE(time.waitUntil([this] { return log().size() == 3 && process() == nullptr; }));
    EXPECT_EQ(snapshot(), (Snapshot{"Error", exitMessage, "none", "oslo"}));
    EXPECT_EQ(time.pendingCount(), 0U);
}

TEST_F(TerminationTest, theLastLinesOfAFullPipeAreHandledBeforeTheEnd) {
    const FakeClient& client = install("floods-and-exits", "1");
    manager->connect();
    ASSERT_TRUE(time.waitUntil([this] { return process() == nullptr; }));
    EXPECT_EQ(log().back(), "Split-tunnel routes: last");
    EXPECT_EQ(snapshot(), (Snapshot{"Error", exitMessage, "none", "none"}));
    EXPECT_TRUE(client.isGone());
}

TEST_F(TerminationTest, aDescendantThatKeepsWritingDoesNotDelayTheEnd) {
    const FakeClient& client = install("leaves-flood");
    manager->connect();
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.grandchild().has_value(); }));
    // The pipe is full: the descendant writes more whenever something is read.
    ASSERT_TRUE(endsUnnoticed(client, 1));
    EXPECT_TRUE(isAlive(*client.grandchild()));
    time.runPending();
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
}

TEST_F(TerminationTest, anEndAfterTheCleanUpOnlyDeletesTheFiles) {
    // The clean-up of the first run releases the second run, whose end then comes late.
    const FakeClient& first = start("stubborn");
    manager->disconnect();
    time.settle();
    first.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    const FakeClient& second = start();
    time.advance(Seconds(0.1));
    ASSERT_EQ(manager->status, TunnelStatus::disconnected);

    leaveTemporaryFiles();
    recordNotices();
    second.exit(0);
    ASSERT_TRUE(time.waitUntil([this] { return !temporaryFilesExist(); }));
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(TerminationTest, theLateEndOfAnEarlierRunDetachesTheOutputOfThePresentRun) {
    const FakeClient& first = start();
    feed(first, "handshake failed\n");
    ASSERT_EQ(manager->status, TunnelStatus::error);
    const FakeClient& second = start();
    feed(second, "Split-tunnel routes: 1\n");
    ASSERT_EQ(manager->status, TunnelStatus::connected);

    first.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    ASSERT_NE(process(), nullptr);
    EXPECT_EQ(process()->processIdentifier(), second.pid());
    EXPECT_TRUE(second.isAlive());
    EXPECT_EQ(pipe(), nullptr);

    // Standard error is still read, standard output is not.
    second.say("unread\n");
    feedError(second, "read\n");
    EXPECT_EQ(*manager->lastLog, "read");

    // The run can still be stopped.
    manager->disconnect();
    ASSERT_TRUE(time.waitHoldingMain([&] { return second.isGone(); }));
    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
}

TEST_F(TerminationTest, theErrorStaysUntilTheNextConnect) {
    start().exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    time.advance(Seconds(3600));
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_EQ(process(), nullptr);
}

} // namespace
} // namespace kestrelnet
