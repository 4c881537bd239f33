// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>

namespace kestrelnet {

/// The connection state. The user interface shows its raw value.
enum class TunnelStatus {
    disconnected, ///< No tunnel: the initial state, and the state after a stop.
    connecting,   ///< The client is starting; no routes yet.
    connected,    ///< The client reported that the routes are in place.
    reconnecting, ///< The client reported that it reconnects.
    error,        ///< A start failed, or the client ended unexpectedly.
};

std::string_view rawValue(TunnelStatus status);

/// The status with exactly this raw value, or no value.
std::optional<TunnelStatus> tunnelStatus(std::string_view rawValue);

} // namespace kestrelnet

template <>
struct std::hash<kestrelnet::TunnelStatus> {
    std::size_t operator()(kestrelnet::TunnelStatus status) const noexcept {
        return std::hash<std::string_view>{}(kestrelnet::rawValue(status));
    }
};
