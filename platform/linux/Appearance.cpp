// SPDX-License-Identifier: MIT
#include "platform/Appearance.h"

#include "platform/Log.h"
#include "platform/linux/SessionBus.h"
#include "platform/linux/SessionBusSignal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QObject>

#include <string>
#include <utility>

namespace kestrelnet {

namespace {

constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto settingsInterface = "org.freedesktop.portal.Settings";
constexpr auto group = "org.freedesktop.appearance";
constexpr auto colorSchemeKey = "color-scheme";
constexpr auto contrastKey = "contrast";

QDBusPendingCall readSetting(const char* key) {
    QDBusMessage read = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.portal.Desktop"), QLatin1String(portalPath),
        QLatin1String(settingsInterface), QStringLiteral("Read"));
    read << QLatin1String(group) << QLatin1String(key);
    return sessionBus().asyncCall(read);
}

/// Portals wrap the value in one more variant than documented; accept both. An unknown value counts
/// as 0, no preference.
uint number(const QVariant& value) {
    constexpr uint largestKnown = 2;
    const uint number = value.canConvert<QDBusVariant>()
                            ? value.value<QDBusVariant>().variant().toUInt()
                            : value.toUInt();
    return number <= largestKnown ? number : 0;
}

ColorScheme colorSchemeFrom(uint number) {
    switch (number) {
    case 1:
        return ColorScheme::dark;
    case 2:
        return ColorScheme::light;
    default:
        return ColorScheme::noPreference;
    }
}

} // namespace

/// One numeric setting of the desktop; 0 until it is known.
class Appearance::Setting {
  public:
    Setting(const char* key, Changed changed)
        : key_(key), changed_(std::move(changed)),
          settingChanged_({portalPath, settingsInterface, "SettingChanged", {group, key}},
                          [this] { read(); }) {
        read();
    }

    uint value() const { return value_; }

  private:
    void read() {
        auto* answer = new QDBusPendingCallWatcher(readSetting(key_), &context_);
        QObject::connect(answer, &QDBusPendingCallWatcher::finished, &context_,
                         [this](QDBusPendingCallWatcher* finished) {
                             const QDBusPendingReply<QDBusVariant> reply = *finished;
                             finished->deleteLater();
                             if (reply.isValid()) {
                                 store(number(reply.value().variant()));
                             } else {
                                 log::warning(log::Category::desktop,
                                              "cannot read the desktop's " + std::string(key_) +
                                                  " setting: " + describe(reply.error()));
                             }
                         });
    }

    void store(uint value) {
        if (std::exchange(value_, value) != value && changed_) {
            changed_();
        }
    }

    const char* key_;
    Changed changed_;
    uint value_ = 0;
    SessionBusSignal settingChanged_;
    QObject context_;
};

Appearance::Appearance(const Changed& changed)
    : colorScheme_(std::make_unique<Setting>(colorSchemeKey, changed)),
      contrast_(std::make_unique<Setting>(contrastKey, changed)) {}

Appearance::~Appearance() = default;

ColorScheme Appearance::colorScheme() const {
    return colorSchemeFrom(colorScheme_->value());
}

bool Appearance::wantsHighContrast() const {
    return contrast_->value() == 1;
}

} // namespace kestrelnet
