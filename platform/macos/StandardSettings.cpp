// SPDX-License-Identifier: MIT
#include "platform/StandardSettings.h"

#include <QSettings>
#include <QString>
#include <QStringList>

#include <algorithm>

namespace kestrelnet {

std::unique_ptr<QSettings> standardSettings(const std::string& domain) {
    // QSettings forms the domain from the organisation's Internet domain, reversed, and the
    // application's name: "example.com" and "app" give "com.example.app".
    QStringList parts = QString::fromStdString(domain).split(QLatin1Char('.'));
    const QString application = parts.takeLast();
    std::reverse(parts.begin(), parts.end());
    auto settings = std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                                parts.join(QLatin1Char('.')), application);
    settings->setFallbacksEnabled(false);
    return settings;
}

} // namespace kestrelnet
