// SPDX-License-Identifier: MIT
#include "platform/SessionStart.h"

#include "platform/linux/SessionBus.h"
#include "platform/linux/SessionBusSignal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QVariant>

#include <array>
#include <utility>
#include <vector>

namespace kestrelnet {

namespace {

/// In milliseconds. A manager that does not answer in time has not said that it is complete.
constexpr int managerTimeout = 3000;

/// How to ask a session manager.
struct Manager {
    const char* name;
    const char* path;
    const char* interface;
    const char* question;
    /// The answer changes with this signal.
    const char* signal;
    bool (*isComplete)(const QVariant& answer);
};

constexpr std::array managers{
    Manager{"org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager",
            "IsSessionRunning", "SessionRunning",
            [](const QVariant& answer) { return answer.toBool(); }},
    Manager{"org.xfce.SessionManager", "/org/xfce/SessionManager", "org.xfce.Session.Manager",
            "GetState", "StateChanged",
            [](const QVariant& answer) {
                constexpr uint startingUp = 0;
                return answer.typeId() == QMetaType::UInt && answer.toUInt() != startingUp;
            }},
};

} // namespace

/// Subscribes to the signals before it asks, so that it misses no change in between.
class SessionStart::Watch {
  public:
    explicit Watch(std::function<void()> completed) : completed_(std::move(completed)) {
        for (const Manager& manager : managers) {
            signals_.push_back(std::make_unique<SessionBusSignal>(
                SessionBusSignal::Match{manager.path, manager.interface, manager.signal, {}},
                [this, &manager] { ask(manager); }));
            ask(manager);
        }
    }

  private:
    void ask(const Manager& manager) {
        QDBusMessage question = QDBusMessage::createMethodCall(
            QLatin1String(manager.name), QLatin1String(manager.path),
            QLatin1String(manager.interface), QLatin1String(manager.question));
        question.setAutoStartService(false);
        auto* const answer = new QDBusPendingCallWatcher(
            sessionBus().asyncCall(question, managerTimeout), &context_);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, &context_,
                         [this, &manager](QDBusPendingCallWatcher* finished) {
                             finished->deleteLater();
                             const QVariantList values = finished->reply().arguments();
                             if (!finished->isError() && !values.isEmpty() &&
                                 manager.isComplete(values.constFirst())) {
                                 report();
                             }
                         });
    }

    void report() {
        signals_.clear();
        if (const auto completed = std::exchange(completed_, {})) {
            completed();
        }
    }

    std::function<void()> completed_;
    std::vector<std::unique_ptr<SessionBusSignal>> signals_;
    QObject context_;
};

SessionStart::SessionStart(std::function<void()> completed)
    : watch_(std::make_unique<Watch>(std::move(completed))) {}

SessionStart::~SessionStart() = default;

} // namespace kestrelnet
