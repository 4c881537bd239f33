// SPDX-License-Identifier: MIT
// The actions of the desktop entry. Others can call them on the session bus as well.
#include "core/TunnelManager.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/shell/KestrelnetApp.h"

#include <array>
#include <utility>

namespace kestrelnet {

struct KestrelnetApp::Action {
    std::string_view name;
    void (KestrelnetApp::*run)();

    static constexpr std::size_t count = 5;
    static const std::array<Action, count>& all() {
        static constexpr std::array<Action, count> actions{
            {{"connect", &KestrelnetApp::pressConnect},
             {"disconnect", &KestrelnetApp::pressDisconnect},
             {"toggle", &KestrelnetApp::pressToggle},
             {"settings", &KestrelnetApp::showSettingsWindow},
             {"quit", &KestrelnetApp::pressQuit}}};
        return actions;
    }
};

std::vector<std::string> KestrelnetApp::actionNames() {
    std::vector<std::string> names;
    for (const Action& action : Action::all()) {
        names.emplace_back(action.name);
    }
    return names;
}

void KestrelnetApp::act(std::string_view name) {
    for (const Action& action : Action::all()) {
        if (action.name == name && !isLeaving_) {
            (this->*action.run)();
        }
    }
}

bool KestrelnetApp::offersConnect() const {
    return tunnel_->status == TunnelStatus::disconnected || tunnel_->status == TunnelStatus::error;
}

void KestrelnetApp::pressConnect() {
    if (!tunnel_->isConfigured()) {
        openPanel();
    } else if (offersConnect()) {
        tunnel_->toggle();
    }
}

/// Also without a key, which the user may have removed meanwhile.
void KestrelnetApp::pressDisconnect() {
    if (!offersConnect()) {
        tunnel_->toggle();
    }
}

void KestrelnetApp::pressToggle() {
    offersConnect() ? pressConnect() : pressDisconnect();
}

void KestrelnetApp::pressQuit() {
    const bool isUsed = panel_ || settings_ || tunnel_->status != TunnelStatus::disconnected;
    if (isUsed) {
        return quit();
    }
    // Usually started only for this action. No client needs time to stop.
    isLeaving_ = true;
    terminate();
}

} // namespace kestrelnet
