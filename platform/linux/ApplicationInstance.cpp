// SPDX-License-Identifier: MIT
#include "platform/ApplicationInstance.h"

#include "platform/Log.h"
#include "platform/linux/ActivationToken.h"
#include "platform/linux/ForcedEnd.h"
#include "platform/linux/SessionBus.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDeadlineTimer>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QVariantMap>

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace kestrelnet {

namespace {

constexpr auto applicationInterface = "org.freedesktop.Application";
constexpr auto tokenKey = "activation-token";
/// The names of the same before Wayland; some launchers use only these.
constexpr auto startupKey = "desktop-startup-id";
constexpr auto startupVariable = "DESKTOP_STARTUP_ID";

/// A flag of RequestName: fail instead of waiting for the name.
constexpr uint doNotQueue = 4;

/// A request to the instance.
struct Request {
    enum class Kind { activate, open, act };
    Kind kind;
    /// The link to open, or the action.
    std::string subject;
    QByteArray activationToken;
};

/// The object path that belongs to an application's bus name.
QString pathOf(const QString& name) {
    return u'/' + QString(name).replace(u'.', u'/').replace(u'-', u'_');
}

QDBusMessage callToBus(const char* member, const QString& name) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QLatin1String(member));
    call << name;
    return call;
}

/// The call that passes these links to the owner of `name`, or activates it when there are none.
QDBusMessage requestTo(const QString& name, const std::vector<std::string>& urls) {
    QDBusMessage request =
        QDBusMessage::createMethodCall(name, pathOf(name), QLatin1String(applicationInterface),
                                       QLatin1String(urls.empty() ? "Activate" : "Open"));
    request.setAutoStartService(false);
    if (!urls.empty()) {
        QStringList uris;
        for (const std::string& url : urls) {
            uris << QString::fromStdString(url);
        }
        request << uris;
    }
    QVariantMap platformData;
    if (const QString token = qEnvironmentVariable(activationTokenVariable); !token.isEmpty()) {
        platformData.insert(QLatin1String(tokenKey), token);
    }
    if (const QString startup = qEnvironmentVariable(startupVariable); !startup.isEmpty()) {
        platformData.insert(QLatin1String(startupKey), startup);
    }
    return request << platformData;
}

QByteArray activationToken(const QVariantMap& platformData) {
    const QVariant startup = platformData.value(QLatin1String(startupKey));
    return platformData.value(QLatin1String(tokenKey), startup).toString().toUtf8();
}

void warn(const std::string& message) {
    log::warning(log::Category::desktop, message);
}

/// Whether the reply to RequestName says that this process owns the name now; nothing when the bus
/// does not answer.
std::optional<bool> ownsName(const QDBusMessage& reply) {
    constexpr uint primaryOwner = 1;
    constexpr uint alreadyOwner = 4;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        warn("cannot request the name of the application: " + describe(QDBusError(reply)));
        return std::nullopt;
    }
    const uint result = reply.arguments().constFirst().toUInt();
    return result == primaryOwner || result == alreadyOwner;
}

/// Whether the owner of the name may have ended before it answered.
bool isGone(const QDBusMessage& answer) {
    switch (QDBusError(answer).type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::NoReply:
        return true;
    default:
        // The bus's answer to a call that starts no service. The toolkit has no type for it.
        return answer.errorName() == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner");
    }
}

/// The methods of org.freedesktop.Application, whose names and types are the D-Bus interface. They
/// return at once and leave the work to the event loop, so that the caller does not wait for it.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

  public:
    ApplicationAdaptor(QObject* parent, const std::vector<std::string>& actions,
                       std::function<void(Request)> received)
        : QDBusAbstractAdaptor(parent), received_(std::move(received)) {
        for (const std::string& action : actions) {
            actions_ << QString::fromStdString(action);
        }
    }

    // NOLINTBEGIN(readability-identifier-naming): the names are part of the interface.
    Q_SLOT void Activate(const QVariantMap& platformData) {
        received_({Request::Kind::activate, {}, activationToken(platformData)});
    }

    Q_SLOT void Open(const QStringList& uris, const QVariantMap& platformData) {
        for (const QString& uri : uris) {
            received_({Request::Kind::open, uri.toStdString(), activationToken(platformData)});
        }
    }

    Q_SLOT void ActivateAction(const QString& name, const QVariantList& parameter,
                               const QVariantMap& platformData, const QDBusMessage& message) {
        if (!actions_.contains(name)) {
            refuse(message, QStringLiteral("The application has no such action."));
        } else if (!parameter.isEmpty()) {
            refuse(message, QStringLiteral("The action takes no parameter."));
        } else {
            received_({Request::Kind::act, name.toStdString(), activationToken(platformData)});
        }
    }
    // NOLINTEND(readability-identifier-naming)

  private:
    static void refuse(const QDBusMessage& message, const QString& reason) {
        message.setDelayedReply(true);
        sessionBus().send(message.createErrorReply(QDBusError::InvalidArgs, reason));
    }

    QStringList actions_;
    std::function<void(Request)> received_;
};

} // namespace

/// The object on the bus, and the requests that wait for their handlers.
class ApplicationInstance::Service : public QObject {
  public:
    Service(const std::string& name, const std::vector<std::string>& actions)
        : name_(QString::fromStdString(name)) {
        new ApplicationAdaptor(this, actions, [this](Request request) { add(std::move(request)); });
        delivery_.setSingleShot(true);
        QObject::connect(&delivery_, &QTimer::timeout, this, [this] { deliver(); });
    }

    ~Service() override {
        if (bus_.isConnected()) {
            bus_.unregisterObject(pathOf(name_));
            bus_.send(callToBus("ReleaseName", name_));
        }
    }

    Acquisition acquire(const std::vector<std::string>& urls, std::chrono::milliseconds patience) {
        if (!offerObject()) {
            return openAlone(urls, Acquisition::unavailable);
        }
        const QDeadlineTimer deadline(patience);
        while (const auto left = static_cast<int>(deadline.remainingTime())) {
            const std::optional<bool> owned =
                ownsName(bus_.call(nameRequest(), QDBus::Block, left));
            if (!owned) {
                return openAlone(urls, Acquisition::unavailable);
            }
            if (*owned) {
                busReturn_.emplace([this] { offerAgain(); });
                return openAlone(urls, Acquisition::acquired);
            }
            const QDBusMessage answer = bus_.call(requestTo(name_, urls), QDBus::Block, left);
            if (answer.type() == QDBusMessage::ReplyMessage) {
                return Acquisition::passedOn;
            }
            // Without the text of the error: the other process chooses it, and may repeat a link.
            warn("the running instance does not take the request: " +
                 answer.errorName().toStdString());
            if (!isGone(answer)) {
                break;
            }
        }
        return Acquisition::unresponsive;
    }

    bool endOther(std::chrono::milliseconds patience) {
        return killOwner(name_.toStdString(), patience);
    }

    void setHandlers(Handlers handlers) {
        handlers_ = std::move(handlers);
        delivery_.start(0);
    }

  private:
    /// Must come before the request of the name: a process that finds the name calls the object.
    bool offerObject() {
        const QString path = pathOf(name_);
        if (bus_.objectRegisteredAt(path) == this || bus_.registerObject(path, this)) {
            return true;
        }
        warn("cannot register the application on the session bus");
        return false;
    }

    /// If another process has taken the name meanwhile, this one goes on without it.
    void offerAgain() {
        bus_ = sessionBus();
        if (!offerObject()) {
            return;
        }
        auto* const answer = new QDBusPendingCallWatcher(bus_.asyncCall(nameRequest()), this);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, this,
                         [](QDBusPendingCallWatcher* finished) {
                             finished->deleteLater();
                             if (!ownsName(finished->reply()).value_or(true)) {
                                 warn("another process has taken the name of the application");
                             }
                         });
    }

    /// A raw call, because the toolkit's registerService() has no timeout of its own.
    QDBusMessage nameRequest() const { return callToBus("RequestName", name_) << doNotQueue; }

    Acquisition openAlone(const std::vector<std::string>& urls, Acquisition acquisition) {
        for (const std::string& url : urls) {
            add({Request::Kind::open, url, {}});
        }
        return acquisition;
    }

    void add(Request request) {
        requests_.push_back(std::move(request));
        delivery_.start(0);
    }

    void deliver() {
        while (handlers_ && !requests_.empty()) {
            const Request request = std::move(requests_.front());
            requests_.pop_front();
            const OfferedToken token(request.activationToken);
            handle(request);
        }
    }

    void handle(const Request& request) const {
        switch (request.kind) {
        case Request::Kind::activate:
            return handlers_->activate();
        case Request::Kind::open:
            return handlers_->open(request.subject);
        case Request::Kind::act:
            return handlers_->act(request.subject);
        }
    }

    const QString name_;
    QDBusConnection bus_ = sessionBus();
    std::optional<Handlers> handlers_;
    std::deque<Request> requests_;
    /// Runs deliver() in the next turn of the event loop.
    QTimer delivery_;
    /// Set once this process is the instance.
    std::optional<SessionBusReturn> busReturn_;
};

ApplicationInstance::ApplicationInstance(const std::string& name,
                                         const std::vector<std::string>& actions)
    : service_(std::make_unique<Service>(name, actions)) {}

ApplicationInstance::~ApplicationInstance() = default;

ApplicationInstance::Acquisition ApplicationInstance::acquire(const std::vector<std::string>& urls,
                                                              std::chrono::milliseconds patience) {
    return service_->acquire(urls, patience);
}

bool ApplicationInstance::endOther(std::chrono::milliseconds patience) {
    return service_->endOther(patience);
}

void ApplicationInstance::setHandlers(Handlers handlers) {
    service_->setHandlers(std::move(handlers));
}

} // namespace kestrelnet

#include "ApplicationInstance.moc"
