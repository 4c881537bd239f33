// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Log.h"
#include "platform/Text.h"

#include <utility>

namespace kestrelnet {

namespace {

/// Reads the next chunk. Returns nothing at the end and for a chunk that is not text. No text is
/// lost when it throws std::bad_alloc.
std::shared_ptr<const std::string> textOf(FileHandle& readable) {
    const auto chunk = std::make_shared<std::string>();
    *chunk = readable.availableData();
    if (chunk->empty()) {
        return nullptr;
    }
    if (!text::isValidUtf8(*chunk)) {
        const std::string size = std::to_string(chunk->size());
        log::warning(log::Category::output, "ignored " + size + " bytes that are not UTF-8 text");
        return nullptr;
    }
    return chunk;
}

} // namespace

void TunnelManager::readOutput(FileHandle& handle, const std::shared_ptr<const bool>& isForgotten) {
    // What was read and not posted yet: when there is no memory for that, the handler is called
    // again.
    const auto unposted = std::make_shared<std::shared_ptr<const std::string>>();
    handle.setReadabilityHandler([manager = weak_from_this(), queue = platform_.mainQueue, unposted,
                                  isForgotten](FileHandle& readable) {
        if (!*unposted) {
            *unposted = textOf(readable);
        }
        if (!*unposted) {
            return;
        }
        // The pause lasts until the main thread takes the chunk. So a client that writes faster
        // than that is slowed down, and at most two chunks of each stream are in memory while the
        // client runs: one that is handled, and the next, which is read meanwhile.
        queue->async([manager, isForgotten, chunk = *unposted, pause = readable.pause()]() mutable {
            pause.reset();
            const auto self = manager.lock();
            if (self && !(isForgotten && *isForgotten)) {
                self->handleOutput(*chunk);
            }
        });
        unposted->reset();
    });
}

/// Handles no more output of the present run, also none that was read already.
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
    *isOutputForgotten_ = true;
}

void TunnelManager::handleOutput(std::string_view text) {
    MarkerSearch search(text);
    forEachLine(text, [&](std::string_view line) { handleLine(line, search.groupOf(line)); });
}

void TunnelManager::handleLine(std::string_view line, MarkerGroup group) {
    logLines_.append(line);
    lastLog = line;
    switch (group) {
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
