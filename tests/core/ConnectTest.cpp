// SPDX-License-Identifier: MIT
#include "tests/core/TunnelTest.h"

#include <array>
#include <filesystem>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

using ConnectTest = TunnelTest;

// -- Preconditions -----------------------------------------------------------------------------

TEST_F(ConnectTest, withoutAKeyTheErrorStaysAndOnlyTheMessageChanges) {
    manager->apiKey = "";
    manager->status = TunnelStatus::error;
    recordNotices();
    manager->connect();
    EXPECT_EQ(*manager->lastLog, "API key not configured");
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_EQ(notices.size(), 1U);
    EXPECT_EQ(process(), nullptr);
}

TEST_F(ConnectTest, withoutAKeyNoStatusChanges) {
    manager->apiKey = "dev_short";
    for (const TunnelStatus status : everyStatus) {
        manager->status = status;
        manager->lastLog = "";
        manager->connect();
        EXPECT_EQ(manager->status, status);
        EXPECT_EQ(*manager->lastLog, "API key not configured");
    }
}

TEST_F(ConnectTest, theKeyIsTestedBeforeTheClient) {
    manager->apiKey = "";
    removeClient();
    manager->connect();
    EXPECT_EQ(*manager->lastLog, "API key not configured");
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
}

TEST_F(ConnectTest, withoutAClientAnyStatusBecomesErrorAndTheMessageContainsTheCommand) {
    operatorValues.productDomain = "domain.example";
    manager = makeManager();
    removeClient();
    for (const TunnelStatus status : everyStatus) {
        manager->status = status;
        manager->connect();
        EXPECT_EQ(manager->status, TunnelStatus::error);
        EXPECT_EQ(*manager->lastLog, "kestrelnet-client not found. Install: curl -sSL "
                                     "https://domain.example/downloads/install-client.sh | sh");
        EXPECT_EQ(process(), nullptr);
    }
}

TEST_F(ConnectTest, withoutAClientTheStatusIsSetBeforeTheMessage) {
    removeClient();
    recordNotices();
    manager->connect();
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Disconnected", "", "none", "none"},
                                     Snapshot{"Error", "", "none", "none"}));
}

TEST_F(ConnectTest, withoutAClientTheLogIsKept) {
    const FakeClient& client = start();
    feed(client, "a line\n");
    client.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    removeClient();
    manager->connect();
    EXPECT_THAT(log(), ElementsAre("a line"));
    EXPECT_EQ(process(), nullptr);
}

// -- Accepted, ignored -------------------------------------------------------------------------

TEST_F(ConnectTest, anAcceptedConnectAnnouncesStatusThenMessage) {
    recordNotices();
    start();
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Disconnected", "", "none", "none"},
                                     Snapshot{"Connecting...", "", "none", "none"}));
    EXPECT_EQ(*manager->lastLog, "Starting VPN...");
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
}

TEST_F(ConnectTest, aConnectAfterAnErrorKeepsAddressAndLocation) {
    const FakeClient& first = start();
    feed(first, "Discovered home server: lisbon\n");
    first.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    manager->exitIP = "192.0.2.9";
    const FakeClient& second = start();
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(*manager->exitIP, "192.0.2.9");
    EXPECT_EQ(*manager->serverLocation, "lisbon");
    EXPECT_EQ(process()->processIdentifier(), second.pid());
}

TEST_F(ConnectTest, aConnectDuringARunChangesNothing) {
    const FakeClient& client = start();
    feed(client, "a line\n");
    const auto running = process();
    const auto output = pipe();
    for (const TunnelStatus status :
         {TunnelStatus::connecting, TunnelStatus::connected, TunnelStatus::reconnecting}) {
        manager->status = status;
        recordNotices();
        manager->connect();
        EXPECT_THAT(notices, IsEmpty());
        EXPECT_EQ(manager->status, status);
        EXPECT_EQ(*manager->lastLog, "a line");
        EXPECT_THAT(log(), ElementsAre("a line"));
        EXPECT_EQ(process(), running);
        EXPECT_EQ(pipe(), output);
    }
}

TEST_F(ConnectTest, whileConnectedThePreconditionsAreTestedFirstAndTheClientKeepsRunning) {
    const FakeClient& client = start("routes");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    manager->apiKey = "";
    manager->connect();
    EXPECT_EQ(*manager->lastLog, "API key not configured");
    EXPECT_EQ(manager->status, TunnelStatus::connected);

    manager->apiKey = validKey;
    removeClient();
    manager->connect();
    EXPECT_THAT(*manager->lastLog, StartsWith("kestrelnet-client not found."));
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_TRUE(client.isAlive());
    EXPECT_TRUE(process()->isRunning());
}

// -- The way of starting -----------------------------------------------------------------------

TEST_F(ConnectTest, aHelperThatWasRemovedAfterTheStartIsStillTried) {
    std::filesystem::remove(paths().helper);
    manager->connect();
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_THAT(*manager->lastLog, StartsWith("Failed to start helper: "));
}

TEST_F(ConnectTest, aHelperThatWasCreatedAfterTheStartIsNotUsed) {
    manager->helperInstalled = false;
    manager->connect();
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_THAT(*manager->lastLog, StartsWith("Failed to start: "));
}

// -- Toggle ------------------------------------------------------------------------------------

TEST_F(ConnectTest, toggleConnectsFromDisconnectedAndFromError) {
    for (const TunnelStatus status : {TunnelStatus::disconnected, TunnelStatus::error}) {
        manager->status = status;
        install("script");
        manager->toggle();
        EXPECT_EQ(manager->status, TunnelStatus::connecting);
        EXPECT_NE(process(), nullptr);
    }
}

TEST_F(ConnectTest, toggleDisconnectsFromTheOtherStatuses) {
    for (const TunnelStatus status :
         {TunnelStatus::connecting, TunnelStatus::connected, TunnelStatus::reconnecting}) {
        manager->status = status;
        manager->toggle();
        EXPECT_EQ(manager->status, TunnelStatus::disconnected);
        EXPECT_EQ(process(), nullptr);
    }
}

TEST_F(ConnectTest, toggleWithoutAKeyOnlySetsTheMessage) {
    manager->apiKey = "";
    manager->toggle();
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(*manager->lastLog, "API key not configured");
}

TEST_F(ConnectTest, toggleWhileConnectingStopsTheStartingClient) {
    const FakeClient& client = start();
    manager->toggle();
    ASSERT_TRUE(endsUnnoticed(client));
    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(process(), nullptr);
}

} // namespace
} // namespace kestrelnet
