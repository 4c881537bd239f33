// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Text.h"

namespace kestrelnet {

void TunnelManager::readOutput(FileHandle& handle) {
    handle.setReadabilityHandler(
        [manager = weak_from_this(), queue = platform_.mainQueue](FileHandle& readable) {
            const std::string chunk = readable.availableData();
            if (chunk.empty() || !text::isValidUtf8(chunk)) {
                return;
            }
            // Waiting holds at most one chunk of each stream in memory and slows a flooding client
            // down.
            asyncAndWait(*queue, [&manager, &chunk] {
                if (const auto self = manager.lock()) {
                    self->handleOutput(chunk);
                }
            });
        });
}

void TunnelManager::handleOutput(std::string_view text) {
    forEachLine(text, [this](std::string_view line) { handleLine(line); });
}

void TunnelManager::handleLine(std::string_view line) {
    logLines_.append(line);
    lastLog = line;
    switch (markerGroup(line)) {
    case MarkerGroup::routes:
        status = TunnelStatus::connected;
        fetchExitIP();
        break;
    case MarkerGroup::relay:
        if (status == TunnelStatus::connecting) {
            lastLog = "Tunnel connected, setting up routes...";
        }
        break;
    case MarkerGroup::reconnect:
        status = TunnelStatus::reconnecting;
        break;
    case MarkerGroup::error:
        // Only a start fails by what the client says; a tunnel that is up takes it as talk.
        if (status == TunnelStatus::connecting) {
            status = TunnelStatus::error;
        }
        break;
    case MarkerGroup::server:
        if (const auto location = kestrelnet::serverLocation(line)) {
            serverLocation = std::string(*location);
        }
        break;
    case MarkerGroup::none:
        break;
    }
}

} // namespace kestrelnet
