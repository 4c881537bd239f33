// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "core/SettingsKeys.h"
#include "platform/FileManager.h"

#include <utility>

namespace kestrelnet {

TunnelManager::TunnelManager(Platform platform, OperatorValues operatorValues)
    : platform_(std::move(platform)), operator_(std::move(operatorValues)),
      apiKey(objectWillChange, platform_.defaults->string(settings::apiKey).value_or(""),
             [this](const std::string& key) { platform_.defaults->set(settings::apiKey, key); }) {
    helperInstalled = files::exists(platform_.paths.helper);
}

TunnelManager::~TunnelManager() = default;

} // namespace kestrelnet
