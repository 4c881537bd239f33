// SPDX-License-Identifier: MIT
#include "tests/core/TunnelTest.h"
#include "tests/support/TlsServer.h"

#include <array>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A test with a service that answers the lookups of the exit IP.
class ExitIPTest : public TunnelTest {
  protected:
    ExitIPTest() {
        operatorValues.exitIPServiceURL = server.url("/address");
        world->platform.urlSession = std::make_shared<URLSession>(server.authorities());
        manager = makeManager();
    }

    /// Starts a client that reports its routes. The lookup that follows gets `answer`.
    void connectWith(TlsAnswer answer) {
        server.enqueue(std::move(answer));
        start("routes");
        ASSERT_TRUE(reaches(TunnelStatus::connected));
    }
    bool shows(const std::string& address) {
        return time.waitUntil([&] { return *manager->exitIP == address; });
    }
    /// Waits until every lookup has ended. Then only the test owns the controller.
    bool lookupsEnd() {
        return time.waitUntil([this] { return manager.use_count() == 1; });
    }

    TlsServer server;
};

TEST_F(ExitIPTest, routesStartOneLookupOfTheAddress) {
    connectWith({.body = "192.0.2.44\n"});
    EXPECT_EQ(*manager->exitIP, std::nullopt);
    EXPECT_TRUE(shows("192.0.2.44"));
    EXPECT_THAT(server.requests(), ElementsAre("/address"));
}

TEST_F(ExitIPTest, theAddressIsAnnouncedBeforeItIsStored) {
    connectWith({.body = "192.0.2.44", .held = true});
    recordNotices();
    server.release(0);
    ASSERT_TRUE(shows("192.0.2.44"));
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Connected", "Split-tunnel routes: 2 applied", "none",
                                              "none"}));
}

struct BodyCase {
    std::string body;
    std::string shown;
};

TEST_F(ExitIPTest, theBodyIsShownWithoutBlanksAtItsEnds) {
    const std::array cases{
        BodyCase{"192.0.2.44\n", "192.0.2.44"},
        BodyCase{" \t\r\n2001:db8::1 \v\f\n", "2001:db8::1"},
        BodyCase{"\xC2\xA0\xE2\x80\x83"
                 "192.0.2.45\xE2\x80\xA8\xE3\x80\x80",
                 "192.0.2.45"},
        BodyCase{"no address\nat all", "no address\nat all"},
        BodyCase{" \n \n", ""},
        BodyCase{"", ""},
    };
    const FakeClient& client = start();
    for (const auto& [body, shown] : cases) {
        manager->exitIP = "before";
        server.enqueue({.body = body});
        feed(client, "applied routes\n");
        ASSERT_TRUE(lookupsEnd());
        EXPECT_EQ(*manager->exitIP, shown);
    }
}

TEST_F(ExitIPTest, theTextOfAnErrorAnswerIsShown) {
    const FakeClient& client = start();
    for (const int status : {404, 429, 500, 503}) {
        server.enqueue({.status = status, .body = "  slow down: " + std::to_string(status) + "\n"});
        feed(client, "applied routes\n");
        EXPECT_TRUE(shows("slow down: " + std::to_string(status)));
    }
}

TEST_F(ExitIPTest, aBodyThatIsNotTextChangesNothing) {
    const FakeClient& client = start();
    manager->exitIP = "192.0.2.9";
    server.enqueue({.body = "192.0.2.44 \xFF"});
    recordNotices();
    feed(client, "applied routes\n");
    ASSERT_TRUE(time.waitUntil([this] { return server.requestCount() == 1; }));
    ASSERT_TRUE(lookupsEnd());
    EXPECT_EQ(*manager->exitIP, "192.0.2.9");
    // The line and the status.
    EXPECT_EQ(notices.size(), 2U);
}

TEST_F(ExitIPTest, aBrokenTransferChangesNothingAndIsNotRetried) {
    const FakeClient& client = start();
    manager->exitIP = "192.0.2.9";
    server.enqueue({.body = "192.0.2.44", .ending = TlsAnswer::Ending::drops});
    feed(client, "applied routes\n");
    ASSERT_TRUE(time.waitUntil([this] { return server.requestCount() >= 1; }));
    ASSERT_TRUE(lookupsEnd());
    EXPECT_EQ(snapshot(), (Snapshot{"Connected", "applied routes", "192.0.2.9", "none"}));
    EXPECT_EQ(server.requestCount(), 1U);
}

TEST_F(ExitIPTest, withoutANetworkNothingIsShownOrReported) {
    operatorValues.exitIPServiceURL = "https://127.0.0.1:1/";
    manager = makeManager();
    const FakeClient& client = start();
    recordNotices();
    feed(client, "applied routes\n");
    ASSERT_TRUE(lookupsEnd());
    EXPECT_EQ(snapshot(), (Snapshot{"Connected", "applied routes", "none", "none"}));
    EXPECT_EQ(notices.size(), 2U);
}

TEST_F(ExitIPTest, aServerWithAnUntrustedCertificateIsRejected) {
    world->platform.urlSession = std::make_shared<URLSession>();
    manager = makeManager();
    server.enqueue({.body = "192.0.2.44"});
    feed(start(), "applied routes\n");
    ASSERT_TRUE(lookupsEnd());
    EXPECT_EQ(*manager->exitIP, std::nullopt);
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(ExitIPTest, eachRouteLineStartsALookup) {
    const FakeClient& client = start();
    server.serve("/address", {.body = "192.0.2.44"});
    feed(client, "Full-tunnel: on\nSplit-tunnel routes: 1\napplied routes with error\n");
    ASSERT_TRUE(time.waitUntil([this] { return server.requestCount() == 3; }));
    ASSERT_TRUE(lookupsEnd());
    EXPECT_EQ(server.requestCount(), 3U);
}

TEST_F(ExitIPTest, noOtherLineStartsALookup) {
    const FakeClient& client = start();
    feed(client, "Connected to relay\nReconnecting\nerror\nserver: lisbon\nnothing\n");
    EXPECT_EQ(manager.use_count(), 1);
    EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(ExitIPTest, theLookupThatEndsLastSetsTheAddress) {
    const FakeClient& client = start();
    server.enqueue({.body = "192.0.2.1", .held = true});
    server.enqueue({.body = "192.0.2.2", .held = true});
    feed(client, "applied routes\n");
    ASSERT_TRUE(time.waitUntil([this] { return server.requestCount() == 1; }));
    feed(client, "applied routes\n");
    ASSERT_TRUE(time.waitUntil([this] { return server.requestCount() == 2; }));
    server.release(1);
    ASSERT_TRUE(shows("192.0.2.2"));
    server.release(0);
    EXPECT_TRUE(shows("192.0.2.1"));
    EXPECT_EQ(server.requestCount(), 2U);
}

TEST_F(ExitIPTest, aLookupThatEndsAfterADisconnectStillSetsTheAddress) {
    connectWith({.body = "192.0.2.44", .held = true});
    ASSERT_TRUE(time.waitUntil([this] { return server.requestCount() == 1; }));
    manager->disconnect();
    ASSERT_TRUE(time.waitUntil([this] { return process() == nullptr; }));
    time.advance(Seconds(0.1));
    ASSERT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(*manager->exitIP, std::nullopt);
    server.release(0);
    EXPECT_TRUE(shows("192.0.2.44"));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    manager->disconnect();
    EXPECT_EQ(*manager->exitIP, std::nullopt);
}

TEST_F(ExitIPTest, aPendingLookupKeepsTheControllerAliveUntilItEnds) {
    connectWith({.body = "192.0.2.44", .held = true});
    ASSERT_TRUE(time.waitUntil([this] { return server.requestCount() == 1; }));
    const std::weak_ptr<TunnelManager> kept = std::exchange(manager, nullptr);
    ASSERT_FALSE(kept.expired());
    server.release(0);
    EXPECT_TRUE(time.waitUntil([&kept] { return kept.expired(); }));
}

} // namespace
} // namespace kestrelnet
