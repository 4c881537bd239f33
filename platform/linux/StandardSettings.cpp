// SPDX-License-Identifier: MIT
#include "platform/StandardSettings.h"

#include <QSettings>
#include <QStandardPaths>

namespace kestrelnet {

std::unique_ptr<QSettings> standardSettings(const std::string& domain) {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return std::make_unique<QSettings>(folder + QLatin1Char('/') + QString::fromStdString(domain) +
                                           QLatin1String(".conf"),
                                       QSettings::IniFormat);
}

} // namespace kestrelnet
