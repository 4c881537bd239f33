// SPDX-License-Identifier: MIT
// Desktop notifications by org.freedesktop.Notifications. The toolkit's tray icon could show them
// too, but not without a tray, and it does not escape markup.
#include "platform/Notifier.h"

#include "platform/Log.h"
#include "platform/linux/ActivationToken.h"
#include "platform/linux/SessionBus.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>
#include <string>
#include <utility>

namespace kestrelnet {

namespace {

constexpr auto serverName = "org.freedesktop.Notifications";
constexpr auto serverPath = "/org/freedesktop/Notifications";
/// The action that a click on the notification itself invokes.
constexpr auto clickAction = "default";

QDBusMessage callTo(const QString& server, const char* member) {
    return QDBusMessage::createMethodCall(server, QLatin1String(serverPath),
                                          QLatin1String(serverName), QLatin1String(member));
}

QString text(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

/// The urgency "normal" has the type of a byte.
QVariantMap hints(const Notifier::Sender& sender) {
    return {{QStringLiteral("desktop-entry"), text(sender.identifier)},
            {QStringLiteral("urgency"), QVariant::fromValue<uchar>(1)},
            {QStringLiteral("category"), QStringLiteral("network.disconnected")}};
}

QDBusMessage askForOwner() {
    return QDBusMessage::createMethodCall(
               QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
               QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetNameOwner"))
           << QLatin1String(serverName);
}

QDBusMessage showing(const Notification& notification, const Notifier::Sender& sender,
                     const QString& server, uint replaced, const QStringList& capabilities) {
    const bool takesMarkup = capabilities.contains(QLatin1String("body-markup"));
    const QString body = text(notification.body);
    QStringList actions;
    // Some servers show a dialog for actions if they say that they have none.
    if (notification.opened && capabilities.contains(QLatin1String("actions"))) {
        actions << QLatin1String(clickAction) << QStringLiteral("Open");
    }
    constexpr int untilServerDecides = -1;
    return callTo(server, "Notify")
           << text(sender.name) << replaced << text(sender.identifier) << text(notification.summary)
           << (takesMarkup ? body.toHtmlEscaped() : body) << actions << hints(sender)
           << untilServerDecides;
}

} // namespace

/// One notification. Anyone on the bus can send the server's signals, so only those of the process
/// that shows the notification count.
class Notifier::Service : public QObject {
    Q_OBJECT

  public:
    explicit Service(Sender sender)
        : sender_(std::move(sender)), busReturn_([this] { forget(); }) {}

    void show(Notification notification) {
        const uint request = ++latest_;
        notification_ = std::move(notification);
        // The server may have to be started for this, and can take its time.
        ask(callTo(QLatin1String(serverName), "GetCapabilities"),
            [this, request](const QDBusMessage& answer) {
                if (request == latest_) {
                    findServer(answer.arguments().value(0).toStringList());
                }
            });
    }

    void withdraw() {
        ++latest_;
        if (identifier_ != 0) {
            close(server_, identifier_);
        }
        forgetShown();
    }

  private:
    /// The connection that shows the notification. Qt 6.8 does not tell who has sent an answer.
    void findServer(const QStringList& capabilities) {
        const uint request = latest_;
        ask(askForOwner(), [this, request, capabilities](const QDBusMessage& answer) {
            if (request == latest_) {
                send(answer.arguments().value(0).toString(), capabilities);
            }
        });
    }

    void send(const QString& server, const QStringList& capabilities) {
        const uint request = latest_;
        ask(showing(notification_, sender_, server, identifier_, capabilities),
            [this, request, server](const QDBusMessage& answer) {
                const uint identifier = answer.arguments().value(0).toUInt();
                if (request == latest_) {
                    server_ = server;
                    identifier_ = identifier;
                    listen(true);
                } else if (identifier != identifier_) {
                    close(server, identifier);
                }
            });
    }

    void ask(const QDBusMessage& question, std::function<void(const QDBusMessage&)> answered) {
        const QDBusConnection bus = sessionBus();
        // Without a connection, the watcher of a call would never report its end.
        if (!bus.isConnected()) {
            return;
        }
        auto* const answer = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, this,
                         [answered = std::move(answered)](QDBusPendingCallWatcher* finished) {
                             finished->deleteLater();
                             if (finished->isError()) {
                                 log::warning(log::Category::desktop,
                                              "cannot show a notification: " +
                                                  describe(finished->error()));
                             } else {
                                 answered(finished->reply());
                             }
                         });
    }

    /// Not started again for this: a server that has ended shows nothing.
    static void close(const QString& server, uint identifier) {
        QDBusMessage call = callTo(server, "CloseNotification") << identifier;
        call.setAutoStartService(false);
        sessionBus().send(call);
    }

    /// Only while a notification is shown: the signals come for those of all programs. Without the
    /// name of the sender, because a match by it would block until the bus has resolved it.
    void listen(bool on) {
        if (std::exchange(listens_, on) == on) {
            return;
        }
        const auto match = [this, on](const char* signal, const char* slot) {
            QDBusConnection bus = sessionBus();
            const QString path = QLatin1String(serverPath);
            const QString interface = QLatin1String(serverName);
            const QString name = QLatin1String(signal);
            on ? bus.connect(QString(), path, interface, name, this, slot)
               : bus.disconnect(QString(), path, interface, name, this, slot);
        };
        match("ActivationToken", SLOT(takeToken(uint, QString, QDBusMessage)));
        match("ActionInvoked", SLOT(takeAction(uint, QString, QDBusMessage)));
        match("NotificationClosed", SLOT(takeClosing(uint, uint, QDBusMessage)));
    }

    bool isShown(uint identifier, const QDBusMessage& signal) const {
        return identifier_ != 0 && identifier == identifier_ && signal.service() == server_;
    }

    Q_SLOT void takeToken(uint identifier, const QString& token, const QDBusMessage& signal) {
        if (isShown(identifier, signal)) {
            token_ = token.toUtf8();
        }
    }

    Q_SLOT void takeAction(uint identifier, const QString& action, const QDBusMessage& signal) {
        if (isShown(identifier, signal) && action == QLatin1String(clickAction)) {
            const OfferedToken token(std::exchange(token_, {}));
            // A copy, because it may show another notification.
            if (const auto opened = notification_.opened) {
                opened();
            }
        }
    }

    Q_SLOT void takeClosing(uint identifier, uint /*reason*/, const QDBusMessage& signal) {
        if (isShown(identifier, signal)) {
            forgetShown();
        }
    }

    void forgetShown() {
        identifier_ = 0;
        server_.clear();
        token_.clear();
        listen(false);
    }

    /// A new bus has another server, and no match of this process.
    void forget() {
        ++latest_;
        listens_ = false;
        forgetShown();
    }

    Sender sender_;
    Notification notification_;
    /// The number of the latest request to show or to withdraw. An answer to an earlier one is
    /// late.
    uint latest_ = 0;
    /// Of the notification that is shown, and the process that shows it; 0 without one.
    uint identifier_ = 0;
    QString server_;
    QByteArray token_;
    bool listens_ = false;
    SessionBusReturn busReturn_;
};

Notifier::Notifier(Sender sender) : service_(std::make_unique<Service>(std::move(sender))) {}

Notifier::~Notifier() = default;

void Notifier::show(Notification notification) {
    service_->show(std::move(notification));
}

void Notifier::withdraw() {
    service_->withdraw();
}

} // namespace kestrelnet

#include "Notifier.moc"
