// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Log.h"

#include <chrono>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

constexpr auto gracePeriod = 3s;
constexpr auto pollInterval = 100ms;
constexpr int killSignal = 9;

} // namespace

void TunnelManager::connect() {
    if (!isConfigured()) {
        lastLog = "API key not configured";
        log::warning(log::Category::tunnel, *lastLog);
        return;
    }
    if (!binaryInstalled()) {
        status = TunnelStatus::error;
        lastLog = std::string(product::clientName) + " not found. Install: " + installCommand();
        log::warning(log::Category::tunnel, "the client is not installed");
        return;
    }
    if (status != TunnelStatus::disconnected && status != TunnelStatus::error) {
        return;
    }
    status = TunnelStatus::connecting;
    lastLog = "Starting VPN...";
    logLines_.clear();
    if (helperInstalled) {
        startViaHelper();
    } else {
        startViaOsascript();
    }
}

void TunnelManager::disconnect() {
    if (!tunnelProcess_) {
        status = TunnelStatus::disconnected;
        exitIP = std::nullopt;
        serverLocation = std::nullopt;
        return;
    }
    tunnelProcess_->terminate();
    platform_.backgroundQueue->async([process = tunnelProcess_, manager = weak_from_this(),
                                      clock = platform_.clock, mainQueue = platform_.mainQueue] {
        const Clock::Time deadline = clock->now() + gracePeriod;
        while (process->isRunning() && clock->now() < deadline) {
            clock->sleep(pollInterval);
        }
        if (process->isRunning()) {
            log::warning(log::Category::tunnel, "the client did not end in time and is killed");
            process->kill(killSignal);
        }
        mainQueue->async([manager] {
            if (const auto self = manager.lock()) {
                self->cleanupAfterDisconnect();
            }
        });
    });
}

void TunnelManager::cleanupAfterDisconnect() {
    tunnelProcess_.reset();
    forgetOutput();
    status = TunnelStatus::disconnected;
    exitIP = std::nullopt;
    serverLocation = std::nullopt;
}

void TunnelManager::toggle() {
    if (status == TunnelStatus::disconnected || status == TunnelStatus::error) {
        connect();
    } else {
        disconnect();
    }
}

} // namespace kestrelnet
