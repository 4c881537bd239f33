// SPDX-License-Identifier: MIT
#include "ui/style/StatusStyle.h"

namespace kestrelnet {

ColorRole statusColor(TunnelStatus status) {
    switch (status) {
    case TunnelStatus::connecting:
    case TunnelStatus::reconnecting:
        return ColorRole::orange;
    case TunnelStatus::connected:
        return ColorRole::green;
    case TunnelStatus::error:
        return ColorRole::red;
    case TunnelStatus::disconnected:
        break;
    }
    return ColorRole::secondary;
}

std::string_view headerSymbol(TunnelStatus status) {
    switch (status) {
    case TunnelStatus::connecting:
    case TunnelStatus::reconnecting:
        return "arrow.triangle.2.circlepath";
    case TunnelStatus::connected:
        return "lock.shield.fill";
    case TunnelStatus::error:
        return "exclamationmark.shield";
    case TunnelStatus::disconnected:
        break;
    }
    return "lock.shield";
}

std::string_view statusBarSymbol(TunnelStatus status) {
    return status == TunnelStatus::connected ? "lock.shield.fill" : "lock.shield";
}

ConnectButton connectButton(TunnelStatus status) {
    if (status == TunnelStatus::disconnected || status == TunnelStatus::error) {
        return {"play.fill", "Connect", ColorRole::green};
    }
    return {"stop.fill", "Disconnect", ColorRole::red};
}

} // namespace kestrelnet
