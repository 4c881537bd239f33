// SPDX-License-Identifier: MIT
#include "platform/SettingsStore.h"

#include <QFile>
#include <QStandardPaths>

namespace kestrelnet {

std::unique_ptr<SettingsStore> standardSettings(const std::string& domain) {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return settingsFile(QFile::encodeName(folder).toStdString() + '/' + domain + ".conf");
}

} // namespace kestrelnet
