// SPDX-License-Identifier: MIT
#include "ui/panel/MenuBarContent.h"

#include "core/TunnelManager.h"
#include "ui/widgets/Excerpt.h"

namespace kestrelnet {

namespace {

std::optional<std::string> labelled(std::string_view label,
                                    const std::optional<std::string>& value) {
    if (!value) {
        return std::nullopt;
    }
    return std::string(label) + excerpt(*value);
}

} // namespace

MenuBarContent menuBarContent(const TunnelManager& tunnel) {
    const TunnelStatus status = tunnel.status;
    MenuBarContent content;
    content.headerSymbol = headerSymbol(status);
    content.statusText = rawValue(status);
    content.statusColor = statusColor(status);
    if (status == TunnelStatus::connected) {
        content.exitIP = labelled("Exit IP: ", tunnel.exitIP);
        content.server = labelled("Server: ", tunnel.serverLocation);
    }
    if (tunnel.isConfigured()) {
        content.action = connectButton(status);
    }
    if (!tunnel.lastLog->empty()) {
        content.lastLog = excerpt(*tunnel.lastLog);
    }
    return content;
}

} // namespace kestrelnet
