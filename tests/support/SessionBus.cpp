// SPDX-License-Identifier: MIT
#include "tests/support/SessionBus.h"

#include "tests/support/EventLoop.h"

#include <QDBusPendingCall>
#include <QString>

namespace kestrelnet {

namespace {

constexpr auto configuration = R"(<busconfig>
  <type>session</type>
  <listen>unix:path=FOLDER/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

QString nextName() {
    static int last = 0;
    return QStringLiteral("peer%1").arg(++last);
}

} // namespace

void SessionBus::SetUp() {
    start();
}

void SessionBus::start() {
    std::string text = configuration;
    text.replace(text.find("FOLDER"), std::string_view("FOLDER").size(), folder_.path());
    const std::string file = folder_.write("bus.conf", text);
    daemon_.emplace(std::vector<std::string>{"dbus-daemon", "--nofork", "--nopidfile",
                                             "--config-file=" + file, "--print-address=1"});
    ASSERT_TRUE(daemon_->readLine());
    // Without the bus's GUID, so that a restarted bus at this address is accepted.
    const std::string address = "unix:path=" + folder_.file("bus");
    ASSERT_TRUE(qputenv("DBUS_SESSION_BUS_ADDRESS", QByteArray::fromStdString(address)));
}

void SessionBus::restart() {
    daemon_.reset();
    start();
}

void SessionBus::TearDown() {
    daemon_.reset();
}

BusPeer::BusPeer()
    : connection_(QDBusConnection::connectToBus(QDBusConnection::SessionBus, nextName())) {
    EXPECT_TRUE(connection_.isConnected());
}

BusPeer::~BusPeer() {
    QDBusConnection::disconnectFromBus(connection_.name());
}

QDBusMessage answerTo(const QDBusConnection& connection, const QDBusMessage& message) {
    const QDBusPendingCall pending = connection.asyncCall(message);
    EXPECT_TRUE(waitUntil([&pending] { return pending.isFinished(); }));
    return pending.reply();
}

void roundTrip(const QDBusConnection& connection) {
    answerTo(connection, QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                        QStringLiteral("/org/freedesktop/DBus"),
                                                        QStringLiteral("org.freedesktop.DBus"),
                                                        QStringLiteral("GetId")));
    runPostedEvents();
}

} // namespace kestrelnet
