// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "core/SettingsKeys.h"
#include "platform/FileManager.h"
#include "platform/Text.h"

namespace kestrelnet {

namespace {

constexpr std::string_view keyPrefix = "dev_";
constexpr std::size_t longestUnconfiguredKey = 10;

} // namespace

bool TunnelManager::autoConnect() const {
    return platform_.defaults->boolean(settings::autoConnect);
}

void TunnelManager::setAutoConnect(bool value) {
    platform_.defaults->set(settings::autoConnect, value);
    objectWillChange.send();
}

bool TunnelManager::isConfigured() const {
    return apiKey->starts_with(keyPrefix) && text::characterCount(*apiKey) > longestUnconfiguredKey;
}

std::optional<std::string> TunnelManager::binaryPath() const {
    const Paths& paths = platform_.paths;
    for (const std::string& candidate :
         {paths.bundle + "/Contents/Resources/kestrelnet-client",
          paths.home + "/.kestrelnet/kestrelnet-client", paths.systemClient}) {
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
