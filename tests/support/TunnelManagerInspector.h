// SPDX-License-Identifier: MIT
#pragma once

#include "core/TunnelManager.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kestrelnet {

/// Gives tests access to private members of the controller that have no observable effect.
struct TunnelManagerInspector {
    static std::vector<std::string> logLines(const TunnelManager& manager) {
        return manager.logLines_.lines();
    }
    static std::shared_ptr<Process> process(const TunnelManager& manager) {
        return manager.tunnelProcess_;
    }
    static void runWithAdminPrivileges(TunnelManager& manager, const std::string& command,
                                       const std::function<void(bool)>& completion) {
        manager.runWithAdminPrivileges(command, completion);
    }
    static Platform& platform(TunnelManager& manager) { return manager.platform_; }
    static std::shared_ptr<Pipe> outputPipe(const TunnelManager& manager) {
        return manager.outputPipe_;
    }
};

} // namespace kestrelnet
