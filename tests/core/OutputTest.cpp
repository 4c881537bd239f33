// SPDX-License-Identifier: MIT
#include "tests/core/TunnelTest.h"

#include <array>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A test with a started client that writes what the test wants.
class OutputTest : public TunnelTest {
  protected:
    void feed(std::string_view chunk) { TunnelTest::feed(client, chunk); }

    /// Lines with the numbers from `first` to `last`, in one chunk.
    static std::string numbered(int first, int last) {
        std::string lines;
        for (int number = first; number <= last; ++number) {
            lines += std::to_string(number) + "\n";
        }
        return lines;
    }

    FakeClient& client = start();
};

// -- Lines -------------------------------------------------------------------------------------

TEST_F(OutputTest, eachNonEmptyLineIsLoggedAndTheLastIsShown) {
    feed("one\n\ntwo\n");
    EXPECT_THAT(log(), ElementsAre("one", "two"));
    EXPECT_EQ(*manager->lastLog, "two");
}

TEST_F(OutputTest, eachLineIsAnnounced) {
    recordNotices();
    feed("one\ntwo\ntwo\n");
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Connecting...", "Starting VPN...", "none", "none"},
                                     Snapshot{"Connecting...", "one", "none", "none"},
                                     Snapshot{"Connecting...", "two", "none", "none"}));
}

TEST_F(OutputTest, aSingleLineFeedChangesNothing) {
    recordNotices();
    feed("\n");
    EXPECT_THAT(notices, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OutputTest, aLineInTwoChunksIsTwoLines) {
    feed("Split-tunnel ");
    feed("routes: 2\n");
    EXPECT_THAT(log(), ElementsAre("Split-tunnel ", "routes: 2"));
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
}

TEST_F(OutputTest, aChunkOfTwoLinesIsOneJob) {
    client.say("one\ntwo\n");
    ASSERT_TRUE(time.waitHoldingMain([this] { return time.pendingCount() == 1; }));
    time.runPending();
    EXPECT_THAT(log(), ElementsAre("one", "two"));
}

TEST_F(OutputTest, blanksAreKept) {
    feed("  one \t\r\n");
    EXPECT_THAT(log(), ElementsAre("  one \t\r"));
}

TEST_F(OutputTest, theLogKeepsTheLast200Lines) {
    feed(numbered(1, 200));
    EXPECT_EQ(log().size(), 200U);
    EXPECT_EQ(log().front(), "1");
    feed(numbered(201, 201));
    EXPECT_EQ(log().size(), 200U);
    EXPECT_EQ(log().front(), "2");
    EXPECT_EQ(log().back(), "201");
    feed(numbered(202, 1000));
    EXPECT_EQ(log().size(), 200U);
    EXPECT_EQ(log().front(), "801");
    EXPECT_EQ(log().back(), "1000");
}

TEST_F(OutputTest, theLogIsKeptAfterTheEndAndClearedByTheNextConnect) {
    feed("one\n");
    client.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_THAT(log(), ElementsAre("one"));
    start();
    EXPECT_THAT(log(), IsEmpty());
}

// -- What a line does to each status -----------------------------------------------------------

struct Effect {
    std::string_view line;
    /// The statuses that follow those of `everyStatus`.
    std::array<TunnelStatus, everyStatus.size()> after;
};

TEST_F(OutputTest, theStatusFollowsTheMarkers) {
    using enum TunnelStatus;
    constexpr std::array unchanged = everyStatus;
    constexpr std::array effects{
        Effect{"Full-tunnel: on", {connected, connected, connected, connected, connected}},
        Effect{"Split-tunnel routes: 1", {connected, connected, connected, connected, connected}},
        Effect{"2 applied routes", {connected, connected, connected, connected, connected}},
        Effect{"setup_routing", {connected, connected, connected, connected, connected}},
        Effect{"Direct connection established", unchanged},
        Effect{"Connected to relay", unchanged},
        Effect{"Reconnecting",
               {reconnecting, reconnecting, reconnecting, reconnecting, reconnecting}},
        Effect{"Network changed",
               {reconnecting, reconnecting, reconnecting, reconnecting, reconnecting}},
        Effect{"error", {disconnected, error, connected, reconnecting, error}},
        Effect{"Error", {disconnected, error, connected, reconnecting, error}},
        Effect{"failed", {disconnected, error, connected, reconnecting, error}},
        Effect{"server: lisbon", unchanged},
        Effect{"nothing of note", unchanged},
        Effect{"connected to relay", unchanged},
        Effect{"ERROR", unchanged},
    };
    for (const auto& [line, after] : effects) {
        for (std::size_t index = 0; index < everyStatus.size(); ++index) {
            manager->status = everyStatus.at(index);
            feed(std::string(line) + "\n");
            EXPECT_EQ(manager->status, after.at(index))
                << line << " while " << rawValue(everyStatus.at(index));
        }
    }
}

TEST_F(OutputTest, aLineWithRoutesAndErrorSetsConnected) {
    feed("applied routes after an error\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
    EXPECT_EQ(*manager->lastLog, "applied routes after an error");
}

TEST_F(OutputTest, theRelayLineIsReplacedByAMessageOnlyWhileConnecting) {
    feed("Connected to relay 192.0.2.1\n");
    EXPECT_EQ(*manager->lastLog, "Tunnel connected, setting up routes...");
    EXPECT_THAT(log(), ElementsAre("Connected to relay 192.0.2.1"));
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    for (const TunnelStatus status : everyStatus) {
        if (status != TunnelStatus::connecting) {
            manager->status = status;
            feed("Connected to relay 192.0.2.1\n");
            EXPECT_EQ(*manager->lastLog, "Connected to relay 192.0.2.1");
        }
    }
}

TEST_F(OutputTest, theRelayLineIsShownBeforeItsMessage) {
    recordNotices();
    feed("Direct connection established\n");
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Connecting...", "Starting VPN...", "none", "none"},
                                     Snapshot{"Connecting...", "Direct connection established",
                                              "none", "none"}));
}

TEST_F(OutputTest, anErrorLineWhileConnectingKeepsTheLineAndTheClient) {
    feed("handshake failed\n");
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_EQ(*manager->lastLog, "handshake failed");
    EXPECT_TRUE(client.isAlive());
    feed("Split-tunnel routes: 1\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
}

TEST_F(OutputTest, anErrorLineWhileConnectedChangesOnlyTheLog) {
    for (const TunnelStatus status : {TunnelStatus::connected, TunnelStatus::reconnecting}) {
        manager->status = status;
        feed("read error\n");
        EXPECT_EQ(manager->status, status);
        EXPECT_EQ(*manager->lastLog, "read error");
    }
    EXPECT_THAT(log(), ElementsAre("read error", "read error"));
}

TEST_F(OutputTest, eachLineOfAChunkIsHandledAfterTheOneBeforeIt) {
    feed("Split-tunnel routes: 1\nread error\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
    manager->status = TunnelStatus::connecting;
    feed("read error\nSplit-tunnel routes: 1\nNetwork changed\n");
    EXPECT_EQ(manager->status, TunnelStatus::reconnecting);
}

// -- The server's location ---------------------------------------------------------------------

TEST_F(OutputTest, theLocationIsTheWordAfterTheMarker) {
    feed("Discovered home server: lisbon (198.51.100.7)\n");
    EXPECT_EQ(*manager->serverLocation, "lisbon");
    feed("DNS server: oslo\n");
    EXPECT_EQ(*manager->serverLocation, "oslo");
}

TEST_F(OutputTest, aMarkerWithoutASpaceSetsNoLocation) {
    feed("server:\nserver:lisbon\nDiscovered home server:lisbon\n");
    EXPECT_EQ(*manager->serverLocation, std::nullopt);
}

TEST_F(OutputTest, twoSpacesSetTheEmptyLocation) {
    feed("Discovered home server:  lisbon\n");
    EXPECT_EQ(*manager->serverLocation, "");
}

TEST_F(OutputTest, aLineOfAnotherGroupSetsNoLocation) {
    feed("failed to reach server: lisbon\n");
    EXPECT_EQ(*manager->serverLocation, std::nullopt);
    EXPECT_EQ(manager->status, TunnelStatus::error);
}

// -- Standard error ----------------------------------------------------------------------------

TEST_F(OutputTest, standardErrorIsHandledLikeStandardOutput) {
    feedError(client, "Discovered home server: lisbon\nSplit-tunnel routes: 1\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
    EXPECT_EQ(*manager->serverLocation, "lisbon");
    EXPECT_EQ(log().size(), 2U);
}

} // namespace
} // namespace kestrelnet
