// SPDX-License-Identifier: MIT
#include "platform/linux/PortalSettings.h"

#include "platform/Log.h"
#include "platform/linux/SessionBus.h"
#include "platform/linux/SessionBusSignal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QObject>
#include <QStringList>

#include <utility>
#include <vector>

namespace kestrelnet {

namespace {

constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto settingsInterface = "org.freedesktop.portal.Settings";

QDBusPendingCall readAll() {
    QStringList groups;
    for (const std::string& group : portalGroups()) {
        groups << QString::fromStdString(group);
    }
    QDBusMessage read = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"), QLatin1String(portalPath),
        QLatin1String(settingsInterface), QStringLiteral("ReadAll"));
    read << groups;
    return sessionBus().asyncCall(read);
}

/// Some portals wrap a value in more than one variant.
QVariant unwrapped(QVariant value) {
    constexpr int mostWraps = 4;
    for (int wraps = 0; wraps < mostWraps && value.canConvert<QDBusVariant>(); ++wraps) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

/// None for a value of a type that no preference has.
std::optional<SettingValue> settingValue(const QVariant& wrapped) {
    const QVariant value = unwrapped(wrapped);
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::UChar:
        return std::int64_t{value.toLongLong()};
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::QString:
        return value.toString().toStdString();
    default:
        return std::nullopt;
    }
}

/// The settings of an answer; none if it has another form. The signature is compared first, because
/// the toolkit's conversion of another form is undefined.
std::optional<DesktopSettings> settingsIn(const QDBusMessage& answer) {
    if (answer.type() != QDBusMessage::ReplyMessage ||
        answer.signature() != QLatin1String("a{sa{sv}}")) {
        return std::nullopt;
    }
    const auto groups = qdbus_cast<QMap<QString, QVariantMap>>(answer.arguments().constFirst());
    DesktopSettings result;
    for (auto group = groups.cbegin(); group != groups.cend(); ++group) {
        SettingGroup& values = result[group.key().toStdString()];
        for (auto entry = group->cbegin(); entry != group->cend(); ++entry) {
            if (auto value = settingValue(entry.value())) {
                values.emplace(entry.key().toStdString(), std::move(*value));
            }
        }
    }
    return result;
}

} // namespace

class PortalSettings::Reading {
  public:
    explicit Reading(std::function<void()> changed) : changed_(std::move(changed)) {
        for (const std::string& group : portalGroups()) {
            signals_.push_back(std::make_unique<SessionBusSignal>(
                SessionBusSignal::Match{portalPath, settingsInterface, "SettingChanged", {group}},
                [this] { read(); }));
        }
        read();
    }

    const DesktopSettings& values() const { return values_; }

  private:
    void read() {
        if (isReading_) {
            isOutdated_ = true;
            return;
        }
        isReading_ = true;
        auto* const answer = new QDBusPendingCallWatcher(readAll(), &context_);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, &context_,
                         [this](QDBusPendingCallWatcher* finished) {
                             const QDBusMessage message = finished->reply();
                             finished->deleteLater();
                             isReading_ = false;
                             if (std::exchange(isOutdated_, false)) {
                                 read();
                             }
                             store(message);
                         });
    }

    /// An answer without settings leaves the former values: a portal that restarts changes nothing.
    void store(const QDBusMessage& answer) {
        auto settings = settingsIn(answer);
        if (!settings) {
            log::warning(
                log::Category::desktop,
                "cannot read the desktop's settings: " +
                    (answer.type() == QDBusMessage::ErrorMessage
                         ? (answer.errorName() + QStringLiteral(": ") + answer.errorMessage())
                               .toStdString()
                         : "unexpected form " + answer.signature().toStdString()));
            return;
        }
        values_ = std::move(*settings);
        changed_();
    }

    std::function<void()> changed_;
    DesktopSettings values_;
    bool isReading_ = false;
    /// Whether a change was announced after the request.
    bool isOutdated_ = false;
    std::vector<std::unique_ptr<SessionBusSignal>> signals_;
    QObject context_;
};

PortalSettings::PortalSettings(std::function<void()> changed)
    : reading_(std::make_unique<Reading>(std::move(changed))) {}

PortalSettings::~PortalSettings() = default;

const DesktopSettings& PortalSettings::values() const {
    return reading_->values();
}

} // namespace kestrelnet
