// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "core/SettingsKeys.h"
#include "platform/FileManager.h"
#include "platform/Log.h"

#include <utility>

namespace kestrelnet {

namespace {

void logStatus(TunnelStatus status) {
    log::debug(log::Category::tunnel, "status: " + std::string(rawValue(status)));
}

} // namespace

TunnelManager::TunnelManager(Platform platform, OperatorValues operatorValues)
    : platform_(std::move(platform)), operator_(std::move(operatorValues)),
      status(objectWillChange, TunnelStatus::disconnected, logStatus),
      apiKey(objectWillChange, platform_.defaults->string(settings::apiKey).value_or(""),
             [this](const std::string& key) {
                 isKeyStored_ = platform_.defaults->set(settings::apiKey, key);
             }) {
    helperInstalled = files::exists(platform_.paths.helper);
}

TunnelManager::~TunnelManager() = default;

} // namespace kestrelnet
