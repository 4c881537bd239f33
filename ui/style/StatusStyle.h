// SPDX-License-Identifier: MIT
// The colours, symbols and button of each connection status.
#pragma once

#include "core/TunnelStatus.h"
#include "ui/style/ColorRole.h"

#include <string_view>

namespace kestrelnet {

ColorRole statusColor(TunnelStatus status);

/// The symbol in the header of the panel.
std::string_view headerSymbol(TunnelStatus status);

/// The symbol in the desktop's status bar: the filled shield only while connected.
std::string_view statusBarSymbol(TunnelStatus status);

/// The button that starts and stops the tunnel. Its label says what it does next.
struct ConnectButton {
    std::string_view symbol;
    std::string_view label;
    ColorRole tint = ColorRole::green;

    bool operator==(const ConnectButton&) const = default;
};

ConnectButton connectButton(TunnelStatus status);

} // namespace kestrelnet
