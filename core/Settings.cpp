// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "core/DeviceKey.h"
#include "core/SettingsKeys.h"
#include "platform/FileManager.h"

namespace kestrelnet {

bool TunnelManager::autoConnect() const {
    return platform_.defaults->boolean(settings::autoConnect);
}

void TunnelManager::setAutoConnect(bool value) {
    platform_.defaults->set(settings::autoConnect, value);
    objectWillChange.send();
}

bool TunnelManager::isConfigured() const {
    return isDeviceKey(*apiKey);
}

std::optional<std::string> TunnelManager::binaryPath() const {
    const Paths& paths = platform_.paths;
    const std::string name = product::clientName;
    for (const std::string& candidate :
         {paths.bundle + "/Contents/Resources/" + name,
          paths.home + '/' + product::userFolderName + '/' + name, paths.systemClient}) {
        if (files::exists(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::string TunnelManager::installCommand() const {
    return "curl -sSL " + operator_.installScriptURL() + " | sh";
}

} // namespace kestrelnet
