// SPDX-License-Identifier: MIT
#include "platform/Log.h"
#include "platform/SettingsStore.h"

#include <QSettings>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <algorithm>
#include <system_error>
#include <utility>

namespace kestrelnet {

namespace {

/// The native preferences.
class Preferences : public SettingsStore {
  public:
    explicit Preferences(std::unique_ptr<QSettings> settings) : settings_(std::move(settings)) {}

    std::optional<std::string> string(std::string_view key) override {
        const QVariant value = this->value(key);
        return value.typeId() == QMetaType::QString ? std::optional(value.toString().toStdString())
                                                    : std::nullopt;
    }

    bool boolean(std::string_view key) override {
        return isTrue(value(key).toString().toStdString());
    }

    bool setString(std::string_view key, std::string_view value) override {
        // Without the first character, a byte order mark at the start would be left out.
        return set(key, QString::fromUtf8("x" + std::string(value)).mid(1));
    }

    bool setBoolean(std::string_view key, bool value) override { return set(key, value); }

    void clear() override {
        settings_->clear();
        sync();
    }

  private:
    QVariant value(std::string_view key) {
        sync();
        return settings_->value(QString::fromUtf8(key));
    }

    bool set(std::string_view key, const QVariant& value) {
        settings_->setValue(QString::fromUtf8(key), value);
        return sync();
    }

    /// Writes what was changed, and takes in what another process has written.
    bool sync() {
        settings_->sync();
        // The status is that of the first error, and stays.
        const bool isGood = settings_->status() == QSettings::NoError;
        if (!isGood && !std::exchange(hasFailed_, true)) {
            log::error(log::Category::settings, "the settings cannot be read or written",
                       std::make_error_code(std::errc::io_error));
        }
        return isGood;
    }

    std::unique_ptr<QSettings> settings_;
    bool hasFailed_ = false;
};

} // namespace

std::unique_ptr<SettingsStore> standardSettings(const std::string& domain) {
    // QSettings forms the domain from the organisation's Internet domain, reversed, and the
    // application's name: "example.com" and "app" give "com.example.app".
    QStringList parts = QString::fromStdString(domain).split(QLatin1Char('.'));
    const QString application = parts.takeLast();
    std::reverse(parts.begin(), parts.end());
    auto settings = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                                parts.join(QLatin1Char('.')), application);
    settings->setFallbacksEnabled(false);
    return std::make_unique<Preferences>(std::move(settings));
}

} // namespace kestrelnet
