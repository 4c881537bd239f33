// SPDX-License-Identifier: MIT
#include "platform/ApplicationInstance.h"

#include "platform/linux/ForcedEnd.h"
#include "platform/linux/SessionBus.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QStringList>
#include <QTimer>
#include <QVariantMap>

#include <deque>
#include <optional>
#include <utility>

namespace kestrelnet {

namespace {

constexpr auto applicationName = "com.kestrelnetvpn.app";
constexpr auto applicationPath = "/com/kestrelnetvpn/app";
constexpr auto applicationInterface = "org.freedesktop.Application";
constexpr auto tokenKey = "activation-token";
constexpr auto tokenVariable = "XDG_ACTIVATION_TOKEN";
/// What they were called before there was Wayland; some launchers know no other name.
constexpr auto startupKey = "desktop-startup-id";
constexpr auto startupVariable = "DESKTOP_STARTUP_ID";

/// To the bus: no name is better than one later.
constexpr uint doNotQueue = 4;

constexpr auto introspection = R"(
<interface name="org.freedesktop.Application">
  <method name="Activate">
    <arg name="platform_data" type="a{sv}" direction="in"/>
  </method>
  <method name="Open">
    <arg name="uris" type="as" direction="in"/>
    <arg name="platform_data" type="a{sv}" direction="in"/>
  </method>
  <method name="ActivateAction">
    <arg name="action_name" type="s" direction="in"/>
    <arg name="parameter" type="av" direction="in"/>
    <arg name="platform_data" type="a{sv}" direction="in"/>
  </method>
</interface>
)";

/// What somebody asked of the instance: to open a link, or without one to come forward.
struct Request {
    std::optional<std::string> url;
    QByteArray activationToken;
};

/// The compositor's permission to raise a window, held out to the toolkit for one request. The
/// toolkit takes it from the environment, where no child process is to find it later.
class OfferedToken {
  public:
    explicit OfferedToken(const QByteArray& token) : offered_(!token.isEmpty()) {
        if (offered_) {
            qputenv(tokenVariable, token);
        }
    }
    OfferedToken(const OfferedToken&) = delete;
    OfferedToken& operator=(const OfferedToken&) = delete;
    ~OfferedToken() {
        if (offered_) {
            qunsetenv(tokenVariable);
        }
    }

  private:
    bool offered_;
};

QDBusMessage callTo(const char* member) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QLatin1String(applicationName), QLatin1String(applicationPath),
        QLatin1String(applicationInterface), QLatin1String(member));
    call.setAutoStartService(false);
    return call;
}

QDBusMessage callToBus(const char* member) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QLatin1String(member));
    call << QLatin1String(applicationName);
    return call;
}

/// The request for another process: these links, or its activation when there are none.
QDBusMessage requestFor(const std::vector<std::string>& urls) {
    QDBusMessage request = callTo(urls.empty() ? "Activate" : "Open");
    if (!urls.empty()) {
        QStringList uris;
        for (const std::string& url : urls) {
            uris << QString::fromStdString(url);
        }
        request << uris;
    }
    QVariantMap platformData;
    if (const QString token = qEnvironmentVariable(tokenVariable); !token.isEmpty()) {
        platformData.insert(QLatin1String(tokenKey), token);
    }
    if (const QString startup = qEnvironmentVariable(startupVariable); !startup.isEmpty()) {
        platformData.insert(QLatin1String(startupKey), startup);
    }
    return request << platformData;
}

QByteArray activationToken(const QVariant& platformData) {
    const auto map = qdbus_cast<QVariantMap>(platformData);
    const QVariant startup = map.value(QLatin1String(startupKey));
    return map.value(QLatin1String(tokenKey), startup).toString().toUtf8();
}

/// Whether the owner of the name may have left before it answered.
bool isGone(const QDBusMessage& answer) {
    switch (QDBusError(answer).type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::NoReply:
        return true;
    default:
        return false;
    }
}

/// Counts down from its making.
class Deadline {
  public:
    explicit Deadline(std::chrono::milliseconds patience)
        : end_(std::chrono::steady_clock::now() + patience) {}

    /// In milliseconds; 0 once it has passed.
    int left() const {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end_ - std::chrono::steady_clock::now());
        return left.count() <= 0 ? 0 : static_cast<int>(left.count());
    }

  private:
    std::chrono::steady_clock::time_point end_;
};

} // namespace

/// The object on the bus. It answers at once and leaves the work to the event loop, so that who
/// asks never waits for a handler.
class ApplicationInstance::Service : public QDBusVirtualObject {
  public:
    Service() {
        delivery_.setSingleShot(true);
        QObject::connect(&delivery_, &QTimer::timeout, this, [this] { deliver(); });
    }

    ~Service() override {
        if (bus_.isConnected()) {
            bus_.unregisterObject(QLatin1String(applicationPath));
            bus_.send(callToBus("ReleaseName"));
        }
    }

    Acquisition acquire(const std::vector<std::string>& urls, std::chrono::milliseconds patience) {
        if (!offerObject()) {
            return openAlone(urls, Acquisition::unavailable);
        }
        const Deadline deadline(patience);
        while (const int left = deadline.left()) {
            const std::optional<bool> owned = requestName(left);
            if (!owned) {
                return openAlone(urls, Acquisition::unavailable);
            }
            if (*owned) {
                busReturn_.emplace([this] { offerAgain(); });
                return openAlone(urls, Acquisition::acquired);
            }
            const QDBusMessage answer = bus_.call(requestFor(urls), QDBus::Block, left);
            if (answer.type() == QDBusMessage::ReplyMessage) {
                return Acquisition::passedOn;
            }
            if (!isGone(answer)) {
                break;
            }
        }
        return Acquisition::unresponsive;
    }

    bool endOther(std::chrono::milliseconds patience) {
        return killOwner(applicationName, patience);
    }

    void setHandlers(Handlers handlers) {
        handlers_ = std::move(handlers);
        delivery_.start(0);
    }

    QString introspect(const QString& /*path*/) const override {
        return QLatin1String(introspection);
    }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.interface() != QLatin1String(applicationInterface)) {
            return false;
        }
        const QString call = message.member() + message.signature();
        const QVariantList arguments = message.arguments();
        if (call == QLatin1String("Activatea{sv}")) {
            add({std::nullopt, activationToken(arguments[0])});
            return connection.send(message.createReply());
        }
        if (call == QLatin1String("Openasa{sv}")) {
            for (const QString& uri : arguments[0].toStringList()) {
                add({uri.toStdString(), activationToken(arguments[1])});
            }
            return connection.send(message.createReply());
        }
        if (call == QLatin1String("ActivateActionsava{sv}")) {
            return connection.send(message.createErrorReply(
                QDBusError::InvalidArgs, QStringLiteral("The application has no actions.")));
        }
        return connection.send(message.createErrorReply(
            QDBusError::UnknownMethod, QStringLiteral("There is no method with these arguments.")));
    }

  private:
    /// The object comes before the name: who finds the name can call at once.
    bool offerObject() {
        const QString path = QLatin1String(applicationPath);
        return bus_.objectRegisteredAt(path) == this || bus_.registerVirtualObject(path, this);
    }

    /// Another process may have come first. It does not end this one, which goes on without name.
    void offerAgain() {
        bus_ = sessionBus();
        if (offerObject()) {
            bus_.send(callToBus("RequestName") << doNotQueue);
        }
    }

    /// Whether the name is now this process's; nothing when the bus does not say.
    std::optional<bool> requestName(int timeout) {
        constexpr uint primaryOwner = 1;
        constexpr uint alreadyOwner = 4;
        const QDBusMessage answer =
            bus_.call(callToBus("RequestName") << doNotQueue, QDBus::Block, timeout);
        if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty()) {
            return std::nullopt;
        }
        const uint result = answer.arguments().constFirst().toUInt();
        return result == primaryOwner || result == alreadyOwner;
    }

    Acquisition openAlone(const std::vector<std::string>& urls, Acquisition acquisition) {
        for (const std::string& url : urls) {
            add({url, {}});
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
            if (!request.url) {
                handlers_->activate();
            } else {
                handlers_->open(*request.url);
            }
        }
    }

    QDBusConnection bus_ = sessionBus();
    std::optional<Handlers> handlers_;
    std::deque<Request> requests_;
    /// Due in the next turn of the event loop.
    QTimer delivery_;
    /// Once this process is the instance.
    std::optional<SessionBusReturn> busReturn_;
};

ApplicationInstance::ApplicationInstance() : service_(std::make_unique<Service>()) {}

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
