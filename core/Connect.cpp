// SPDX-License-Identifier: MIT
#include "core/TunnelManager.h"

#include "platform/Log.h"

#include <chrono>
#include <new>
#include <utility>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

constexpr auto gracePeriod = 3s;
constexpr auto pollInterval = 100ms;
constexpr int killSignal = 9;

/// Returns false when there is no memory for the job at present.
bool post(Queue& queue, const Queue::Job& job) {
    try {
        queue.async(job);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

} // namespace

void TunnelManager::connect() {
    if (!isConfigured()) {
        lastLog = "API key not configured";
        log::warning(log::Category::tunnel, *lastLog);
        return;
    }
    if (!binaryInstalled()) {
        status = TunnelStatus::error;
        lastLog = std::string(product::clientName)
                      .append(" not found. Install: ")
                      .append(installCommand());
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

void TunnelManager::reportFailedStart(std::string_view prefix, const Error& error) {
    stop_.reset();
    status = TunnelStatus::error;
    lastLog = std::string(prefix) + error.description;
    log::warning(log::Category::tunnel, *lastLog);
}

void TunnelManager::disconnect() {
    if (!tunnelProcess_) {
        status = TunnelStatus::disconnected;
        exitIP = std::nullopt;
        serverLocation = std::nullopt;
        return;
    }
    tunnelProcess_->terminate();
    if (const auto stop = std::exchange(stop_, nullptr)) {
        stop->start();
    } else if (tunnelProcess_->isRunning()) {
        // An earlier stop of this run has used the prepared thread. When there is no other one,
        // that stop suffices.
        platform_.backgroundQueue->async(stopJob());
    } else {
        // Nothing to wait for.
        stopJob()();
    }
}

std::optional<Error> TunnelManager::prepareStop() {
    return platform_.backgroundQueue->prepare(stopJob(), stop_);
}

/// Waits for the end of the present run's process, kills it after the grace period, and posts the
/// clean-up.
Queue::Job TunnelManager::stopJob() {
    const Queue::Job cleanUp = [manager = weak_from_this()] {
        if (const auto self = manager.lock()) {
            self->cleanupAfterDisconnect();
        }
    };
    return [process = tunnelProcess_, cleanUp, clock = platform_.clock,
            mainQueue = platform_.mainQueue] {
        const Clock::Time deadline = clock->now() + gracePeriod;
        while (process->isRunning() && clock->now() < deadline) {
            clock->sleep(pollInterval);
        }
        if (process->isRunning()) {
            process->kill(killSignal);
            log::warning(log::Category::tunnel, "the client did not end in time and is killed");
        }
        while (!post(*mainQueue, cleanUp)) {
            clock->sleep(pollInterval);
        }
    };
}

void TunnelManager::cleanupAfterDisconnect() {
    forgetOutput();
    tunnelProcess_.reset();
    stop_.reset();
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
