// SPDX-License-Identifier: MIT
#include "ui/shell/DropWatch.h"

#include "tests/support/FakeClient.h"
#include "tests/ui/WidgetTest.h"

#include <gmock/gmock.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class DropWatchTest : public WidgetTest {
  protected:
    DropWatchTest() { startWatch(); }

    void startWatch() {
        watch.emplace(
            *tunnel, time.mainQueue(),
            DropWatch::Actions{
                .tell = [this](const Notification& told) { notices.push_back(told.body); },
                .withdraw = [this] { ++withdrawals; },
                .opened = {}});
    }
    void set(TunnelStatus status) { tunnel->status = status; }
    void connect() {
        set(TunnelStatus::connecting);
        time.runPending();
        set(TunnelStatus::connected);
        time.runPending();
    }
    /// As the controller reports the end of the client.
    void end() {
        set(TunnelStatus::error);
        tunnel->lastLog = "VPN process exited unexpectedly";
        tunnel->exitIP = std::nullopt;
    }

    std::vector<std::string> notices;
    int withdrawals = 0;
    std::optional<DropWatch> watch;
};

TEST_F(DropWatchTest, aTunnelThatEndsByItselfIsToldAfterExactlyASecond) {
    for (const TunnelStatus last : {TunnelStatus::connected, TunnelStatus::reconnecting}) {
        notices.clear();
        connect();
        set(last);
        end();
        time.advance(999ms);
        EXPECT_THAT(notices, IsEmpty());
        time.advance(1ms);
        EXPECT_THAT(notices, ElementsAre("VPN process exited unexpectedly"));
        time.advance(60s);
        EXPECT_THAT(notices, SizeIs(1));
    }
}

TEST_F(DropWatchTest, aStopIsNotTold) {
    for (const auto duration : {0ms, 100ms, 999ms}) {
        connect();
        end();
        time.advance(duration);
        set(TunnelStatus::disconnected);
        time.advance(60s);
        EXPECT_THAT(notices, IsEmpty()) << duration.count();
    }
}

TEST_F(DropWatchTest, aStopWhoseCleanUpWaitsBehindABusyMainThreadIsNotTold) {
    connect();
    end();
    time.runPending();
    time.mainQueue()->asyncAfter(1s, [this] { set(TunnelStatus::disconnected); });
    time.advance(60s);
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(DropWatchTest, aNewConnectionWithinTheSecondIsNotTold) {
    for (const TunnelStatus next :
         {TunnelStatus::connecting, TunnelStatus::reconnecting, TunnelStatus::connected}) {
        connect();
        end();
        time.advance(999ms);
        set(next);
        time.advance(60s);
        EXPECT_THAT(notices, IsEmpty()) << rawValue(next);
    }
}

TEST_F(DropWatchTest, aConnectThatFailsWithinTheSecondIsNotTold) {
    connect();
    end();
    time.advance(500ms);
    // Without a turn of the main loop in between.
    set(TunnelStatus::connecting);
    set(TunnelStatus::error);
    tunnel->lastLog = "Failed to start helper: no";
    time.advance(60s);
    EXPECT_THAT(notices, IsEmpty());
}

TEST_F(DropWatchTest, nothingElseIsTold) {
    // A failed start, also one that the client reports as a reconnection.
    set(TunnelStatus::connecting);
    end();
    time.advance(60s);
    set(TunnelStatus::connecting);
    set(TunnelStatus::reconnecting);
    end();
    time.advance(60s);
    // No client.
    set(TunnelStatus::disconnected);
    end();
    time.advance(60s);
    // Connects and disconnects.
    connect();
    time.advance(60s);
    set(TunnelStatus::disconnected);
    time.advance(60s);
    EXPECT_THAT(notices, IsEmpty());
    EXPECT_EQ(withdrawals, 0);
}

TEST_F(DropWatchTest, eachDropHasASecondOfItsOwn) {
    connect();
    end();
    time.advance(600ms);
    connect();
    end();
    time.advance(999ms);
    EXPECT_THAT(notices, IsEmpty());
    time.advance(1ms);
    EXPECT_THAT(notices, SizeIs(1));
}

TEST_F(DropWatchTest, theNotificationGoesWhenTheErrorGoes) {
    for (const TunnelStatus next : {TunnelStatus::connecting, TunnelStatus::disconnected}) {
        withdrawals = 0;
        connect();
        end();
        time.advance(10s);
        EXPECT_EQ(withdrawals, 0);
        set(next);
        time.runPending();
        EXPECT_EQ(withdrawals, 1);
        set(TunnelStatus::disconnected);
        time.runPending();
        EXPECT_EQ(withdrawals, 1);
    }
    EXPECT_THAT(notices, SizeIs(2));
}

TEST_F(DropWatchTest, manyNoticesPostOneJob) {
    connect();
    for (int i = 0; i < 100; ++i) {
        tunnel->lastLog = "line";
    }
    EXPECT_EQ(time.pendingCount(), 1U);
}

TEST_F(DropWatchTest, mayBeDestroyedWithADropPending) {
    connect();
    end();
    time.advance(500ms);
    end();
    watch.reset();
    time.advance(60s);
    EXPECT_THAT(notices, IsEmpty());
}

/// A real client, whose requested stop shows an error for a moment.
class DropOfClientTest : public DropWatchTest {
  protected:
    void SetUp() override {
        client.installAt(world.platform.paths.helper);
        client.installAt(world.platform.paths.systemClient);
        // Nothing listens on this port, and no packet leaves the machine.
        tunnel = std::make_shared<TunnelManager>(
            world.platform, OperatorValues{.exitIPServiceURL = "https://127.0.0.1:1/"});
        startWatch();
        tunnel->apiKey = validKey;
        tunnel->connect();
        ASSERT_TRUE(reaches(TunnelStatus::connected));
    }
    ~DropOfClientTest() override {
        // A pending lookup keeps the controller until it ends.
        watch.reset();
        const std::weak_ptr<TunnelManager> ending = std::exchange(tunnel, nullptr);
        EXPECT_TRUE(time.waitUntil([&ending] { return ending.expired(); }));
    }
    bool reaches(TunnelStatus status) {
        return time.waitUntil([this, status] { return tunnel->status == status; });
    }

    const FakeClient client{"routes"};
};

TEST_F(DropOfClientTest, itsEndIsTold) {
    client.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    time.advance(1s);
    EXPECT_THAT(notices, ElementsAre("VPN process exited unexpectedly"));
}

TEST_F(DropOfClientTest, itsRequestedStopIsNotToldAlthoughItShowsAnError) {
    tunnel->disconnect();
    ASSERT_TRUE(reaches(TunnelStatus::error));
    time.advance(60s);
    EXPECT_EQ(tunnel->status, TunnelStatus::disconnected);
    EXPECT_THAT(notices, IsEmpty());
}

class DropNotificationTest : public WidgetTest {
  protected:
    std::string body(std::string_view line) {
        tunnel->lastLog = std::string(line);
        return dropNotification(*tunnel).body;
    }
};

TEST_F(DropNotificationTest, saysWhatHappenedAndTheLastLine) {
    EXPECT_EQ(body("VPN process exited unexpectedly"), "VPN process exited unexpectedly");
    EXPECT_EQ(dropNotification(*tunnel).summary, "VPN disconnected");
    EXPECT_EQ(body(""), "");
}

TEST_F(DropNotificationTest, neverContainsTheKey) {
    tunnel->apiKey = validKey;
    EXPECT_EQ(body("key dev_1234567, again dev_1234567!"), "key \u2026, again \u2026!");
    // Where the text is cut.
    for (std::size_t before = 185; before < 205; ++before) {
        EXPECT_THAT(body(std::string(before, 'x') + validKey + std::string(50, 'y')),
                    Not(HasSubstr("dev_")));
    }
}

TEST_F(DropNotificationTest, isOneShortLineOfPlainText) {
    EXPECT_EQ(body("<b>a</b> & b"), "<b>a</b> & b");
    using namespace std::string_view_literals;
    EXPECT_EQ(body("a\r\x1b[31m b\0c\u2028 d\u202e e\u2067"sv), "a [31m b c d e");
    EXPECT_EQ(body(std::string(1'000'000, 'x')), std::string(200, 'x') + "\u2026");
    EXPECT_EQ(body(std::string(199, 'x') + "\U0001F600"), std::string(199, 'x') + "\u2026");
}

} // namespace

} // namespace kestrelnet
