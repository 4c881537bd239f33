// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Log.h"
#include "platform/Text.h"

namespace kestrelnet {

void TunnelManager::readOutput(FileHandle& handle) {
    handle.setReadabilityHandler(
        [manager = weak_from_this(), queue = platform_.mainQueue](FileHandle& readable) {
            const std::string chunk = readable.availableData();
            if (chunk.empty()) {
                return;
            }
            if (!text::isValidUtf8(chunk)) {
                log::warning(log::Category::output, "ignored " + std::to_string(chunk.size()) +
                                                        " bytes that are not UTF-8 text");
                return;
            }
            // Waiting keeps at most one chunk of each stream in memory. A client that writes
            // faster than the main thread reads is slowed down.
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
        // Once connected, error lines do not change the status.
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
