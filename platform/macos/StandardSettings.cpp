// SPDX-License-Identifier: MIT
#include "platform/StandardSettings.h"

#include <QSettings>

namespace kestrelnet {

std::unique_ptr<QSettings> standardSettings() {
    // Organisation and application together name the domain com.kestrelnetvpn.app.
    auto settings =
        std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                    QStringLiteral("kestrelnetvpn.com"), QStringLiteral("app"));
    settings->setFallbacksEnabled(false);
    return settings;
}

} // namespace kestrelnet
