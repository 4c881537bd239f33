// SPDX-License-Identifier: MIT
#include "platform/Appearance.h"

#include "platform/linux/SessionBus.h"
#include "platform/linux/SessionBusSignal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QObject>

#include <utility>

namespace kestrelnet {

namespace {

constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto settingsInterface = "org.freedesktop.portal.Settings";
constexpr auto group = "org.freedesktop.appearance";
constexpr auto key = "color-scheme";

QDBusPendingCall readColorScheme() {
    QDBusMessage read = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"), QLatin1String(portalPath),
        QLatin1String(settingsInterface), QStringLiteral("Read"));
    read << QLatin1String(group) << QLatin1String(key);
    return sessionBus().asyncCall(read);
}

/// Portals wrap the value once more than their documentation says; some may come to follow it.
ColorScheme colorSchemeFrom(QVariant value) {
    if (value.canConvert<QDBusVariant>()) {
        value = value.value<QDBusVariant>().variant();
    }
    switch (value.toUInt()) {
    case 1:
        return ColorScheme::dark;
    case 2:
        return ColorScheme::light;
    default:
        return ColorScheme::noPreference;
    }
}

} // namespace

class Appearance::Setting {
  public:
    explicit Setting(Changed changed)
        : changed_(std::move(changed)),
          settingChanged_({portalPath, settingsInterface, "SettingChanged", {group, key}},
                          [this] { read(); }) {
        read();
    }

    ColorScheme value() const { return value_; }

  private:
    void read() {
        auto* answer = new QDBusPendingCallWatcher(readColorScheme(), &context_);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, &context_,
                         [this](QDBusPendingCallWatcher* finished) {
                             const QDBusPendingReply<QDBusVariant> reply = *finished;
                             finished->deleteLater();
                             if (reply.isValid()) {
                                 store(colorSchemeFrom(reply.value().variant()));
                             }
                         });
    }

    void store(ColorScheme value) {
        if (std::exchange(value_, value) != value && changed_) {
            changed_(value);
        }
    }

    Changed changed_;
    ColorScheme value_ = ColorScheme::noPreference;
    SessionBusSignal settingChanged_;
    QObject context_;
};

Appearance::Appearance(Changed changed) : setting_(std::make_unique<Setting>(std::move(changed))) {}

Appearance::~Appearance() = default;

ColorScheme Appearance::colorScheme() const {
    return setting_->value();
}

} // namespace kestrelnet
