// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Log.h"
#include "platform/Text.h"

#include <utility>

namespace kestrelnet {

void TunnelManager::readOutput(FileHandle& handle) {
    handle.setReadabilityHandler(
        [manager = weak_from_this(), queue = platform_.mainQueue](FileHandle& readable) {
            std::string chunk = readable.availableData();
            if (chunk.empty()) {
                return;
            }
            if (!text::isValidUtf8(chunk)) {
                log::warning(log::Category::output, "ignored " + std::to_string(chunk.size()) +
                                                        " bytes that are not UTF-8 text");
                return;
            }
            // The pause lasts until the main thread has taken the chunk. So a client that writes
            // faster than that is slowed down, and at most one chunk of each stream is in memory
            // while the client runs.
            queue->async([manager, chunk = std::move(chunk), pause = readable.pause()] {
                if (const auto self = manager.lock()) {
                    self->handleOutput(chunk);
                }
            });
        });
}

/// Handles no more output of the present run.
void TunnelManager::forgetOutput() {
    if (!outputPipe_) {
        return;
    }
    FileHandle& handle = outputPipe_->fileHandleForReading();
    if (tunnelProcess_->isRunning()) {
        // The client must not block because nobody reads its output. The termination handler
        // removes this handler, unless the client has ended meanwhile.
        handle.setReadabilityHandler([](FileHandle& readable) { readable.availableData(); });
    }
    if (!tunnelProcess_->isRunning()) {
        handle.setReadabilityHandler({});
    }
    outputPipe_.reset();
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
