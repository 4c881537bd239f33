// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/FileManager.h"

namespace kestrelnet {

Process::TerminationHandler TunnelManager::terminationHandler() {
    return [manager = weak_from_this(),
            queue = platform_.mainQueue](const std::shared_ptr<Process>& process) {
        queue->async([manager, process] {
            if (const auto self = manager.lock()) {
                self->handleTermination(*process);
            }
        });
    };
}

void TunnelManager::handleTermination(const Process& process) {
    if (tunnelProcess_ && tunnelProcess_->processIdentifier() == process.processIdentifier()) {
        tunnelProcess_.reset();
    }
    // Also when an earlier run ended: the output that is read belongs to at most one run, and the
    // end of any leaves none that can be trusted.
    forgetOutput();
    if (status != TunnelStatus::disconnected) {
        status = TunnelStatus::error;
        lastLog = "VPN process exited unexpectedly";
        exitIP = std::nullopt;
    }
    files::remove(launcherPath());
    files::remove(fifoPath());
}

void TunnelManager::forgetOutput() {
    if (outputPipe_) {
        outputPipe_->fileHandleForReading().setReadabilityHandler({});
        outputPipe_.reset();
    }
}

} // namespace kestrelnet
