// SPDX-License-Identifier: MIT
#include "platform/StandardSettings.h"

#include <QSettings>
#include <QStandardPaths>

namespace kestrelnet {

std::unique_ptr<QSettings> standardSettings() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return std::make_unique<QSettings>(folder + QStringLiteral("/com.kestrelnetvpn.app.conf"),
                                       QSettings::IniFormat);
}

} // namespace kestrelnet
