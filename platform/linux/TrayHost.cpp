// SPDX-License-Identifier: MIT
#include "platform/TrayHost.h"

#include "platform/Log.h"
#include "platform/linux/SessionBus.h"
#include "platform/linux/SessionBusSignal.h"
#include "platform/linux/XEmbedTray.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QObject>
#include <QTimer>

#include <utility>

namespace kestrelnet {

namespace {

constexpr auto watcherName = "org.kde.StatusNotifierWatcher";
constexpr auto watcherPath = "/StatusNotifierWatcher";

/// In milliseconds. A watcher that does not answer in time counts as one without a host.
constexpr int watcherTimeout = 3000;

QDBusPendingCall askForHost() {
    QDBusMessage question = QDBusMessage::createMethodCall(
        QLatin1String(watcherName), QLatin1String(watcherPath),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    question << QLatin1String(watcherName) << QStringLiteral("IsStatusNotifierHostRegistered");
    question.setAutoStartService(false);
    return sessionBus().asyncCall(question, watcherTimeout);
}

} // namespace

/// Subscribes to the signals before it asks, so that it does not miss a tray that appears in
/// between. Each signal makes it ask again.
class TrayHost::Watch {
  public:
    Watch(Handlers handlers, std::chrono::milliseconds busPreference)
        : handlers_(std::move(handlers)), busPreference_(busPreference),
          busReturn_([this] { begin(); }) {
        look_.setSingleShot(true);
        QObject::connect(&look_, &QTimer::timeout, &look_, [this] { look(); });
        begin();
    }

  private:
    void begin() {
        watches_ = true;
        xEmbedTray_ = std::make_unique<XEmbedTray>([this] { lookLater(); });
        if (xEmbedTray_->isPresent() || !sessionBus().isConnected()) {
            look_.start(0);
            return;
        }
        watcherOwner_ = std::make_unique<SessionBusSignal>(
            SessionBusSignal::Match{
                "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", {watcherName}},
            [this] { ask(); });
        hostRegistered_ = std::make_unique<SessionBusSignal>(
            SessionBusSignal::Match{watcherPath, watcherName, "StatusNotifierHostRegistered", {}},
            [this] { ask(); });
        ask();
    }

    void lookLater() {
        using namespace std::chrono_literals;
        look_.start(sessionBus().isConnected() ? busPreference_ : 0ms);
    }

    void look() {
        if (xEmbedTray_->isPresent()) {
            reportAppeared();
        } else {
            reportAbsent();
        }
    }

    /// Asks on the session bus.
    void ask() {
        auto* answer = new QDBusPendingCallWatcher(askForHost(), &context_);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, &context_,
                         [this](QDBusPendingCallWatcher* finished) {
                             const QDBusPendingReply<QDBusVariant> reply = *finished;
                             finished->deleteLater();
                             if (!reply.isValid()) {
                                 log::warning(log::Category::desktop,
                                              "the StatusNotifierWatcher does not answer: " +
                                                  describe(reply.error()));
                             }
                             if (reply.isValid() && reply.value().variant().toBool()) {
                                 reportAppeared();
                             } else {
                                 reportAbsent();
                             }
                         });
    }

    void reportAppeared() {
        // Two requests may have been pending.
        if (!std::exchange(watches_, false)) {
            return;
        }
        look_.stop();
        hostRegistered_.reset();
        watcherOwner_.reset();
        xEmbedTray_.reset();
        handlers_.absent = {};
        const auto appeared = handlers_.appeared;
        if (appeared) {
            appeared();
        }
    }

    void reportAbsent() {
        const auto absent = std::exchange(handlers_.absent, {});
        if (absent) {
            absent();
        }
    }

    Handlers handlers_;
    const std::chrono::milliseconds busPreference_;
    bool watches_ = false;
    /// Calls look(), in the next turn of the event loop at the earliest.
    QTimer look_;
    std::unique_ptr<XEmbedTray> xEmbedTray_;
    std::unique_ptr<SessionBusSignal> watcherOwner_;
    std::unique_ptr<SessionBusSignal> hostRegistered_;
    QObject context_;
    SessionBusReturn busReturn_;
};

TrayTraits trayTraits() {
    return {};
}

TrayHost::TrayHost(Handlers handlers, std::chrono::milliseconds busPreference)
    : watch_(std::make_unique<Watch>(std::move(handlers), busPreference)) {}

TrayHost::~TrayHost() = default;

} // namespace kestrelnet
