// SPDX-License-Identifier: MIT
// A run behind the administrator prompt that the controller has lost track of.
#include "tests/core/PromptLaunchTest.h"

#include <string>

namespace kestrelnet {
namespace {

using testing::IsEmpty;

/// A clean-up that comes late releases the present run.
class ForgottenRunTest : public PromptLaunchTest {
  protected:
    /// Ends a first run by a disconnect whose clean-up is still pending.
    void leaveCleanUpPending() {
        const FakeClient& first = startPrompt("stubborn");
        // Its reader is not installed yet.
        time.advance(Seconds(1));
        manager->disconnect();
        time.settle();
        ASSERT_EQ(time.sleeperCount(), 1U);
        first.exit(0);
        ASSERT_TRUE(reaches(TunnelStatus::error));
    }

    /// Runs the clean-up.
    void forget() {
        time.advance(Seconds(0.1));
        ASSERT_EQ(manager->status, TunnelStatus::disconnected);
        ASSERT_EQ(process(), nullptr);
    }
};

TEST_F(ForgottenRunTest, theReaderStartsAndReadsEverythingSoThatTheClientRuns) {
    leaveCleanUpPending();
    installWorkingPrograms();
    // More than all pipes hold.
    const FakeClient& client =
        installAt(paths().home + "/.kestrelnet/kestrelnet-client", "flood", "1");
    manager->connect();
    forget();
    time.advance(Seconds(0.9));
    EXPECT_TRUE(time.waitHoldingMain([&] { return client.isReady(); }));
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    client.exit(0);
    EXPECT_TRUE(time.waitUntil([this] { return !temporaryFilesExist(); }));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
}

TEST_F(ForgottenRunTest, aClientWhoseReaderRunsAlreadyContinuesAsWell) {
    const FakeClient& first = startPrompt();
    // Its reader is not installed yet, so it cannot take the second run's output.
    time.advance(Seconds(1));
    manager->status = TunnelStatus::error;
    installWorkingPrograms();
    const FakeClient& client = installTunnelClient();
    manager->connect();
    time.advance(Seconds(1));
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.isReady(); }));
    // The late end of the first run detaches the output of the second one.
    first.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    ASSERT_EQ(pipe(), nullptr);
    for (int chunk = 0; chunk < 64; ++chunk) {
        client.say(std::string(4096, 'x'));
    }
    EXPECT_TRUE(time.waitHoldingMain([&] { return client.isHeard(); }));
    EXPECT_TRUE(client.isAlive());
}

TEST_F(ForgottenRunTest, theReadersOutputIsReadUntilTheRunEnds) {
    leaveCleanUpPending();
    const FakeClient& reader = installAt(paths().tail, "script");
    const FakeClient& runner = startPrompt();
    forget();
    time.advance(Seconds(0.9));
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    reader.say("unread\n");
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isHeard(); }));
    EXPECT_TRUE(reader.isAlive());
    runner.exit(0);
    // It ends when it writes, because its output has no reader.
    EXPECT_TRUE(time.waitUntil([&] {
        reader.say("late\n");
        return reader.isGone();
    }));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ForgottenRunTest, theReaderLeavesTheFifoOfALaterRunAlone) {
    leaveCleanUpPending();
    startPrompt();
    forget();
    installWorkingPrograms();
    const FakeClient& client = installTunnelClient("routes");
    const FakeClient& reader = installAt(paths().tail, "script");
    manager->connect();
    time.advance(Seconds(0.9));
    // The reader of the forgotten run has no reading end.
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    EXPECT_TRUE(time.waitHoldingMain([&] {
        reader.say("x");
        return reader.isGone();
    }));
    installWorkingPrograms();
    time.advance(Seconds(0.1));
    EXPECT_TRUE(reaches(TunnelStatus::connected));
    EXPECT_TRUE(client.isAlive());
}

} // namespace
} // namespace kestrelnet
