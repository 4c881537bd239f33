// SPDX-License-Identifier: MIT
#include "platform/linux/SessionBus.h"

#include "platform/ApplicationInstance.h"
#include "platform/linux/SessionBusSignal.h"
#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/SessionBus.h"

#include <QDBusConnectionInterface>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrelnet {
namespace {

[[maybe_unused]] auto* const bus = new SessionBus;
[[maybe_unused]] auto* const environment = testing::AddGlobalTestEnvironment(bus);

class SessionBusTest : public testing::Test {
  protected:
    /// Restarts the bus and waits until this process is connected to the new one.
    void restart() {
        bus->restart();
        const int before = returns_;
        ASSERT_TRUE(waitUntil([this, before] { return returns_ > before; }));
        ASSERT_TRUE(sessionBus().isConnected());
    }

    int returns_ = 0;
    const SessionBusReturn busReturn_{[this] { ++returns_; }};
};

TEST_F(SessionBusTest, isReachedAgainAfterEveryRestart) {
    ASSERT_TRUE(sessionBus().isConnected());
    for (int round = 1; round <= 3; ++round) {
        restart();
        EXPECT_EQ(returns_, round);
        roundTrip(sessionBus());
    }
}

TEST_F(SessionBusTest, theInstanceGetsItsNameBack) {
    ApplicationInstance instance("com.kestrelnetvpn.app");
    ASSERT_EQ(instance.acquire(), ApplicationInstance::Acquisition::acquired);
    int activations = 0;
    instance.setHandlers({.activate = [&activations] { ++activations; }, .open = {}});
    restart();
    BusPeer caller;
    QDBusMessage activate = QDBusMessage::createMethodCall(
        QStringLiteral("com.kestrelnetvpn.app"), QStringLiteral("/com/kestrelnetvpn/app"),
        QStringLiteral("org.freedesktop.Application"), QStringLiteral("Activate"));
    activate << QVariantMap();
    EXPECT_EQ(answerTo(caller.connection(), activate).type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(waitUntil([&activations] { return activations == 1; }));
}

TEST_F(SessionBusTest, anotherProcessThatTakesTheNameKeepsIt) {
    ApplicationInstance instance("com.kestrelnetvpn.app");
    ASSERT_EQ(instance.acquire(), ApplicationInstance::Acquisition::acquired);
    const LogRecorder recorder;
    bus->restart();
    BusPeer other;
    ASSERT_TRUE(other.connection().registerService(QStringLiteral("com.kestrelnetvpn.app")));
    ASSERT_TRUE(waitUntil([this] { return returns_ > 0; }));
    roundTrip(sessionBus());
    EXPECT_EQ(sessionBus()
                  .interface()
                  ->serviceOwner(QStringLiteral("com.kestrelnetvpn.app"))
                  .value()
                  .toStdString(),
              other.connection().baseService().toStdString());
    for (const char* message :
         {"warning kestrelnet.desktop: the connection to the session bus is lost",
          "debug kestrelnet.desktop: connected to the session bus again",
          "warning kestrelnet.desktop: another process has taken the name of the application"}) {
        EXPECT_TRUE(waitUntil([&recorder, message] {
            return testing::Matches(testing::Contains(message))(recorder.messages());
        })) << message;
    }
}

TEST_F(SessionBusTest, signalsArriveAgainAndTheReturnCallsBack) {
    int received = 0;
    const SessionBusSignal signal({"/path", "kestrelnet.Test", "Changed", {}},
                                  [&received] { ++received; });
    restart();
    EXPECT_EQ(received, 1);
    BusPeer sender;
    roundTrip(sessionBus());
    EXPECT_TRUE(sender.connection().send(QDBusMessage::createSignal(
        QStringLiteral("/path"), QStringLiteral("kestrelnet.Test"), QStringLiteral("Changed"))));
    EXPECT_TRUE(waitUntil([&received] { return received == 2; }));
}

} // namespace
} // namespace kestrelnet
