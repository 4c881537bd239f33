// SPDX-License-Identifier: MIT
#pragma once

#include "core/TunnelStatus.h"

#include <QString>

namespace kestrelnet {

class TunnelManager;

/// Everything that the icon in the status bar and its menu show, as a plain value.
struct TrayContent {
    TunnelStatus status = TunnelStatus::disconnected;
    /// The state in one short line of plain text, whatever the lookup of the exit IP returned.
    QString stateLine;
    /// Whether the menu offers to connect or to disconnect.
    bool canToggle = false;

    bool operator==(const TrayContent&) const = default;
};

TrayContent trayContent(const TunnelManager& tunnel);

} // namespace kestrelnet
