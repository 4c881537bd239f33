// SPDX-License-Identifier: MIT
#include "core/TunnelStatus.h"

#include <array>

namespace kestrelnet {

namespace {
constexpr std::array statuses{TunnelStatus::disconnected, TunnelStatus::connecting,
                              TunnelStatus::connected, TunnelStatus::reconnecting,
                              TunnelStatus::error};
}

std::string_view rawValue(TunnelStatus status) {
    switch (status) {
    case TunnelStatus::disconnected:
        return "Disconnected";
    case TunnelStatus::connecting:
        return "Connecting...";
    case TunnelStatus::connected:
        return "Connected";
    case TunnelStatus::reconnecting:
        return "Reconnecting...";
    case TunnelStatus::error:
        return "Error";
    }
    return {};
}

std::optional<TunnelStatus> tunnelStatus(std::string_view rawValue) {
    for (const TunnelStatus status : statuses) {
        if (kestrelnet::rawValue(status) == rawValue) {
            return status;
        }
    }
    return std::nullopt;
}

} // namespace kestrelnet
