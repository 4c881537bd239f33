// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"
#include "ui/style/StatusStyle.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kestrelnet {

class TunnelManager;

/// Replaces the main button until there is a valid key.
struct KeyMissing {
    std::string_view symbol = "key";
    std::string_view text = "API key not set";
    ColorRole color = ColorRole::orange;
    std::string_view buttonLabel = "Open Settings...";

    bool operator==(const KeyMissing&) const = default;
};

/// Everything that the panel shows, as a plain value. A row without a value is not shown.
struct MenuBarContent {
    std::string_view headerSymbol;
    std::string_view title = "Kestrelnet VPN";
    std::string_view statusText;
    /// Of the header symbol and of the circle beside the status text.
    ColorRole statusColor = ColorRole::secondary;
    std::optional<std::string> exitIP;
    std::optional<std::string> server;
    std::variant<KeyMissing, ConnectButton> action;
    std::optional<std::string> lastLog;

    bool operator==(const MenuBarContent&) const = default;
};

MenuBarContent menuBarContent(const TunnelManager& tunnel);

} // namespace kestrelnet
