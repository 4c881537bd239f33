// SPDX-License-Identifier: MIT
#include "platform/linux/SessionBus.h"

#include "platform/Log.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <utility>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

/// The pauses between attempts to reconnect; no signal reports that the bus is back. They grow,
/// because a session whose bus is gone is usually about to end.
constexpr std::chrono::milliseconds firstPause = 250ms;
constexpr std::chrono::milliseconds longestPause = 30s;

/// Keeps the connection and makes a new one when it breaks. Destroyed with the application.
class ConnectionKeeper : public QObject {
    Q_OBJECT

  public:
    explicit ConnectionKeeper(QObject* parent) : QObject(parent) {
        attempt_.setSingleShot(true);
        connect(&attempt_, &QTimer::timeout, this, [this] { reach(); });
        if (!connection_.isConnected()) {
            log::warning(log::Category::desktop,
                         "the session bus is not available: " + describe(connection_.lastError()));
        }
        watch();
    }

    QDBusConnection connection() const { return connection_; }

    Q_SIGNAL void returned();

  private:
    Q_SLOT void startReaching() {
        log::warning(log::Category::desktop, "the connection to the session bus is lost");
        pause_ = firstPause;
        attempt_.start(pause_);
    }

    void watch() {
        connection_.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                            QStringLiteral("org.freedesktop.DBus.Local"),
                            QStringLiteral("Disconnected"), this, SLOT(startReaching()));
    }

    void reach() {
        const QString name = QStringLiteral("kestrelnet-session-bus-%1").arg(++count_);
        QDBusConnection next = QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
        if (!next.isConnected()) {
            log::warning(log::Category::desktop,
                         "cannot connect to the session bus again: " + describe(next.lastError()));
            QDBusConnection::disconnectFromBus(name);
            pause_ = std::min(2 * pause_, longestPause);
            attempt_.start(pause_);
            return;
        }
        const QString old = std::exchange(connection_, next).name();
        // The toolkit goes on using its own connection, also a broken one. It must not be deleted.
        if (old != QDBusConnection::sessionBus().name()) {
            QDBusConnection::disconnectFromBus(old);
        }
        watch();
        log::debug(log::Category::desktop, "connected to the session bus again");
        returned();
    }

    QDBusConnection connection_ = QDBusConnection::sessionBus();
    QTimer attempt_;
    std::chrono::milliseconds pause_ = firstPause;
    int count_ = 0;
};

ConnectionKeeper& keeper() {
    static QPointer<ConnectionKeeper> made;
    if (!made) {
        made = new ConnectionKeeper(QCoreApplication::instance());
    }
    return *made;
}

} // namespace

QDBusConnection sessionBus() {
    return keeper().connection();
}

std::string describe(const QDBusError& error) {
    return (error.name() + QStringLiteral(": ") + error.message()).toStdString();
}

class SessionBusReturn::Receiver : public QObject {};

SessionBusReturn::SessionBusReturn(std::function<void()> returned)
    : receiver_(std::make_unique<Receiver>()) {
    QObject::connect(&keeper(), &ConnectionKeeper::returned, receiver_.get(), std::move(returned));
}

SessionBusReturn::~SessionBusReturn() = default;

} // namespace kestrelnet

#include "SessionBus.moc"
