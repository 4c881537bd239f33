// SPDX-License-Identifier: MIT
// Clients with malformed or excessive output.
#include "tests/core/TunnelTest.h"
#include "tests/support/ProcessFacts.h"

#include <utility>

namespace kestrelnet {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;

using BadOutputTest = TunnelTest;

constexpr std::size_t mebibyte = std::size_t{1} << 20U;

TEST_F(BadOutputTest, aChunkThatEndsInsideACharacterIsDropped) {
    const FakeClient& client = start("half-utf8");
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.isHeard(); }));
    // The rest of the character begins the next chunk, which is dropped as well.
    client.say("\xBCrich\nmore\n");
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.isHeard(); }));
    EXPECT_EQ(time.pendingCount(), 0U);
    feed(client, "after\n");
    EXPECT_THAT(log(), ElementsAre("after"));
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    EXPECT_EQ(*manager->serverLocation, std::nullopt);
}

TEST_F(BadOutputTest, aChunkThatIsNotTextIsDroppedAndReadingContinues) {
    const FakeClient& client = start("not-utf8");
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.isHeard(); }));
    feed(client, "after\n");
    EXPECT_THAT(log(), ElementsAre("after"));
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
}

TEST_F(BadOutputTest, nulBytesAreOrdinaryCharacters) {
    start("nul-bytes");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    EXPECT_THAT(log(), ElementsAre(std::string("a\0b Split-tunnel routes:\0"sv)));
}

TEST_F(BadOutputTest, aLineWithoutAnEndIsHandledPieceByPiece) {
    const std::size_t before = residentMemory();
    const FakeClient& client = install("endless-line", "256");
    manager->connect();
    ASSERT_TRUE(time.waitUntil([&] { return client.isReady(); }));
    client.say("\nSplit-tunnel routes: 1\n");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    EXPECT_LE(log().size(), 200U);
    // The log holds 200 pieces of 64 KiB.
    EXPECT_LT(residentMemory(), before + 96 * mebibyte);
}

TEST_F(BadOutputTest, aFloodIsReadWithBoundedMemory) {
    const std::size_t before = residentMemory();
    const FakeClient& client = install("flood", "64");
    manager->connect();
    ASSERT_TRUE(time.waitUntil([&] { return client.isReady(); }));
    client.say("Split-tunnel routes: 1\n");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    EXPECT_EQ(log().size(), 200U);
    EXPECT_LT(residentMemory(), before + 32 * mebibyte);
}

TEST_F(BadOutputTest, aFloodWaitsWhileTheMainThreadIsBusy) {
    const FakeClient& client = install("flood", "16");
    manager->connect();
    // One chunk was handed over and the pipe is full, so no more is read.
    int unread = 0;
    int looks = 0;
    ASSERT_TRUE(time.waitHoldingMain([&] {
        const int before = std::exchange(unread, client.unreadOutput());
        looks = unread > 0 && unread == before ? looks + 1 : 0;
        return looks == 50 || client.isReady();
    }));
    EXPECT_FALSE(client.isReady());
    EXPECT_EQ(time.pendingCount(), 1U);
    EXPECT_TRUE(time.waitUntil([&] { return client.isReady(); }));
}

TEST_F(BadOutputTest, aFloodCanBeStopped) {
    const FakeClient& client = install("flood", "100000");
    manager->connect();
    ASSERT_TRUE(time.waitUntil([this] { return log().size() == 200; }));
    manager->disconnect();
    ASSERT_TRUE(time.waitUntil([&] { return client.isGone() && process() == nullptr; }));
    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
}

TEST_F(BadOutputTest, closedStreamsDoNotEndTheRun) {
    const FakeClient& client = start("closes-streams");
    EXPECT_TRUE(process()->isRunning());
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    manager->disconnect();
    ASSERT_TRUE(endsUnnoticed(client));
    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
}

TEST_F(BadOutputTest, aClientThatWritesOnlyToStandardErrorIsHandled) {
    start("stderr-only");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
}

} // namespace
} // namespace kestrelnet
