// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/FileManager.h"
#include "platform/Log.h"

namespace kestrelnet {

Process::TerminationHandler TunnelManager::terminationHandler() {
    return [manager = weak_from_this(),
            queue = platform_.mainQueue](const std::shared_ptr<Process>& process) {
        // Ends the threads that read the output, even if the controller has lost track of the run.
        for (const auto& pipe : {process->standardOutput, process->relayedOutput}) {
            if (pipe) {
                pipe->fileHandleForReading().setReadabilityHandler({});
            }
        }
        queue->async([manager, process] {
            if (const auto self = manager.lock()) {
                self->handleTermination(*process);
            }
        });
    };
}

void TunnelManager::handleTermination(const Process& process) {
    log::debug(log::Category::tunnel, "process " + std::to_string(process.processIdentifier()) +
                                          " ended with status " +
                                          std::to_string(process.terminationStatus()));
    // Also when the process of an earlier run ended: the output of the present run is then no
    // longer handled.
    forgetOutput();
    if (tunnelProcess_ && tunnelProcess_->processIdentifier() == process.processIdentifier()) {
        tunnelProcess_.reset();
        stop_.reset();
    }
    if (status != TunnelStatus::disconnected) {
        status = TunnelStatus::error;
        lastLog = "VPN process exited unexpectedly";
        exitIP = std::nullopt;
    }
    files::remove(launcherPath());
    files::remove(fifoPath());
}

} // namespace kestrelnet
