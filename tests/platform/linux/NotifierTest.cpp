// SPDX-License-Identifier: MIT
#include "platform/Notifier.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/SessionBus.h"

#include <QDBusArgument>
#include <QDBusVirtualObject>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

auto* const bus = new SessionBus;
[[maybe_unused]] auto* const environment = testing::AddGlobalTestEnvironment(bus);

constexpr auto serverName = "org.freedesktop.Notifications";
constexpr auto serverPath = "/org/freedesktop/Notifications";

/// A desktop's notification server. It answers at once, or when the test says so.
class FakeServer : public QDBusVirtualObject {
  public:
    explicit FakeServer(QStringList capabilities = {QStringLiteral("actions"),
                                                    QStringLiteral("body")})
        : capabilities_(std::move(capabilities)) {
        EXPECT_TRUE(peer_.connection().registerVirtualObject(QLatin1String(serverPath), this));
        EXPECT_TRUE(peer_.connection().registerService(QLatin1String(serverName)));
    }

    const std::vector<QVariantList>& shown() const { return shown_; }
    const std::vector<uint>& closed() const { return closed_; }
    std::size_t waiting() const { return held_.size(); }

    void hold() { holds_ = true; }
    void answerFirst() {
        peer_.connection().send(held_.front());
        held_.pop_front();
    }

    void send(const char* signal, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createSignal(
            QLatin1String(serverPath), QLatin1String(serverName), QLatin1String(signal));
        message.setArguments(arguments);
        EXPECT_TRUE(peer_.connection().send(message));
    }
    void click(uint identifier) { send("ActionInvoked", {identifier, QStringLiteral("default")}); }

    /// Returns when all calls have arrived and all answers and signals are handled.
    void settle() {
        for (int i = 0; i < 3; ++i) {
            roundTrip(QDBusConnection::sessionBus());
            roundTrip(peer_.connection());
        }
    }

    QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& /*bus*/) override {
        if (message.member() == QLatin1String("GetCapabilities")) {
            reply(message.createReply(capabilities_));
        } else if (message.member() == QLatin1String("Notify")) {
            const QVariantList arguments = message.arguments();
            shown_.push_back(arguments);
            const uint replaced = arguments.value(1).toUInt();
            reply(message.createReply(replaced != 0 ? replaced : ++lastIdentifier_));
        } else if (message.member() == QLatin1String("CloseNotification")) {
            closed_.push_back(message.arguments().value(0).toUInt());
            reply(message.createReply());
        } else {
            return false;
        }
        return true;
    }

  private:
    void reply(const QDBusMessage& answer) {
        if (holds_) {
            held_.push_back(answer);
        } else {
            peer_.connection().send(answer);
        }
    }

    BusPeer peer_;
    QStringList capabilities_;
    std::vector<QVariantList> shown_;
    std::vector<uint> closed_;
    std::deque<QDBusMessage> held_;
    bool holds_ = false;
    uint lastIdentifier_ = 40;
};

class NotifierTest : public testing::Test {
  protected:
    void show(const char* body = "It ended.") {
        notifier.show({.summary = "VPN disconnected", .body = body, .opened = [this] {
                           const char* token = std::getenv("XDG_ACTIVATION_TOKEN");
                           opened.emplace_back(token == nullptr ? "" : token);
                       }});
    }
    void showOn(FakeServer& server, const char* body = "It ended.") {
        show(body);
        server.settle();
    }
    static std::string bodyOf(const QVariantList& shown) {
        return shown.value(4).toString().toStdString();
    }

    Notifier notifier{{.name = "Kestrelnet", .identifier = "com.kestrelnetvpn.app"}};
    std::vector<std::string> opened;
};

TEST_F(NotifierTest, showsANotificationWithAllItsParts) {
    FakeServer server;
    showOn(server);
    ASSERT_EQ(server.shown().size(), 1U);
    const QVariantList& parts = server.shown()[0];
    ASSERT_EQ(parts.size(), 8);
    EXPECT_EQ(parts[0].toString(), QStringLiteral("Kestrelnet"));
    EXPECT_EQ(parts[1], QVariant(0U));
    EXPECT_EQ(parts[2].toString(), QStringLiteral("com.kestrelnetvpn.app"));
    EXPECT_EQ(parts[3].toString(), QStringLiteral("VPN disconnected"));
    EXPECT_EQ(parts[4].toString(), QStringLiteral("It ended."));
    EXPECT_EQ(parts[5].toStringList(),
              (QStringList{QStringLiteral("default"), QStringLiteral("Open")}));
    const auto hints = qdbus_cast<QVariantMap>(parts[6]);
    EXPECT_EQ(hints.value(QStringLiteral("desktop-entry")),
              QVariant(QStringLiteral("com.kestrelnetvpn.app")));
    EXPECT_EQ(hints.value(QStringLiteral("category")),
              QVariant(QStringLiteral("network.disconnected")));
    const QVariant urgency = hints.value(QStringLiteral("urgency"));
    EXPECT_EQ(urgency.metaType(), QMetaType::fromType<uchar>());
    EXPECT_EQ(urgency.toUInt(), 1U);
    EXPECT_EQ(parts[7], QVariant(-1)) << "not the server's default duration";
}

TEST_F(NotifierTest, escapesMarkupOnlyForServersThatTakeIt) {
    constexpr auto hostile = "<a href=\"x\">&amp;</a>";
    {
        FakeServer plain;
        showOn(plain, hostile);
        ASSERT_EQ(plain.shown().size(), 1U);
        EXPECT_EQ(bodyOf(plain.shown()[0]), hostile);
    }
    FakeServer rich({QStringLiteral("body"), QStringLiteral("body-markup")});
    showOn(rich, hostile);
    ASSERT_EQ(rich.shown().size(), 1U);
    EXPECT_EQ(bodyOf(rich.shown()[0]), "&lt;a href=&quot;x&quot;&gt;&amp;amp;&lt;/a&gt;");
    EXPECT_THAT(rich.shown()[0][5].toStringList(), IsEmpty()) << "an action without support for it";
}

TEST_F(NotifierTest, aClickOpens) {
    FakeServer server;
    showOn(server);
    server.click(41);
    server.settle();
    EXPECT_THAT(opened, ElementsAre(""));
    server.send("ActivationToken", {41U, QStringLiteral("permit-1")});
    server.click(41);
    server.settle();
    EXPECT_THAT(opened, ElementsAre("", "permit-1"));
    EXPECT_EQ(std::getenv("XDG_ACTIVATION_TOKEN"), nullptr);
}

TEST_F(NotifierTest, otherSignalsOpenNothing) {
    FakeServer server;
    showOn(server);
    server.click(42);
    server.send("ActionInvoked", {41U, QStringLiteral("other")});
    // Another process that sends the server's signal.
    BusPeer other;
    QDBusMessage forged = QDBusMessage::createSignal(
        QLatin1String(serverPath), QLatin1String(serverName), QStringLiteral("ActionInvoked"));
    forged << 41U << QStringLiteral("default");
    other.connection().send(forged);
    roundTrip(other.connection());
    server.settle();
    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(NotifierTest, aSecondOneReplacesTheFirst) {
    FakeServer server;
    showOn(server);
    showOn(server, "Again.");
    ASSERT_EQ(server.shown().size(), 2U);
    EXPECT_EQ(server.shown()[1][1], QVariant(41U));
    EXPECT_THAT(server.closed(), IsEmpty());
}

TEST_F(NotifierTest, isClosedWhenItIsWithdrawn) {
    FakeServer server;
    showOn(server);
    notifier.withdraw();
    server.settle();
    EXPECT_THAT(server.closed(), ElementsAre(41U));
    notifier.withdraw();
    server.click(41);
    server.settle();
    EXPECT_THAT(server.closed(), ElementsAre(41U)) << "closed twice";
    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(NotifierTest, oneThatTheUserHasClosedIsNotClosedAgain) {
    FakeServer server;
    showOn(server);
    server.send("NotificationClosed", {41U, 2U});
    server.settle();
    notifier.withdraw();
    showOn(server);
    EXPECT_THAT(server.closed(), IsEmpty());
    ASSERT_EQ(server.shown().size(), 2U);
    EXPECT_EQ(server.shown()[1][1], QVariant(0U));
}

TEST_F(NotifierTest, withdrawnBeforeTheServerHasAnsweredItNeverShows) {
    FakeServer server;
    server.hold();
    showOn(server);
    ASSERT_EQ(server.waiting(), 1U);
    notifier.withdraw();
    server.answerFirst();
    server.settle();
    EXPECT_THAT(server.shown(), IsEmpty());
}

TEST_F(NotifierTest, withdrawnOnItsWayItIsClosedAtOnce) {
    FakeServer server;
    server.hold();
    showOn(server);
    server.answerFirst();
    server.settle();
    ASSERT_EQ(server.shown().size(), 1U);
    notifier.withdraw();
    server.answerFirst();
    server.settle();
    EXPECT_THAT(server.closed(), ElementsAre(41U));
}

TEST_F(NotifierTest, aServerThatHasRestartedIsNotAskedToClose) {
    std::optional<FakeServer> server(std::in_place);
    showOn(*server);
    server.emplace();
    notifier.withdraw();
    server->settle();
    EXPECT_THAT(server->closed(), IsEmpty()) << "the number may be that of another program's";
    showOn(*server);
    EXPECT_EQ(server->shown().size(), 1U);
}

TEST_F(NotifierTest, showsAgainAfterARestartOfTheBus) {
    {
        FakeServer server;
        showOn(server);
    }
    bus->restart();
    FakeServer server;
    const bool isBack = waitUntil([&] {
        show();
        runPostedEvents();
        return !server.shown().empty();
    });
    ASSERT_TRUE(isBack);
    EXPECT_EQ(server.shown()[0][1], QVariant(0U));
}

TEST_F(NotifierTest, withoutAServerNothingHappens) {
    const LogRecorder recorder;
    show();
    EXPECT_TRUE(waitUntil([&recorder] { return !recorder.messages().empty(); }));
    EXPECT_THAT(recorder.messages(),
                ElementsAre(StartsWith("warning kestrelnet.desktop: cannot show a notification: "
                                       "org.freedesktop.DBus.Error.ServiceUnknown: ")));
    notifier.withdraw();
    EXPECT_THAT(opened, IsEmpty());
}

} // namespace
} // namespace kestrelnet
