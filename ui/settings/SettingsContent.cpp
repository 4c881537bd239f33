// SPDX-License-Identifier: MIT
#include "ui/settings/SettingsContent.h"

#include "core/TunnelManager.h"
#include "ui/style/QtText.h"
#include "ui/widgets/Excerpt.h"

#include <QUrl>

namespace kestrelnet {

namespace {

std::optional<std::string> shortened(const std::optional<std::string>& value) {
    return value ? std::optional(excerpt(*value)) : std::nullopt;
}

std::optional<Link> homePage(const OperatorValues& values) {
    const std::string address = values.homePageURL();
    const QUrl url(qtText(address), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) {
        return std::nullopt;
    }
    return Link{values.productDomain, address};
}

void describeKey(SettingsContent& content, const TunnelManager& tunnel,
                 const SettingsViewState& state, const OperatorValues& values) {
    content.masksKey = !state.showKey;
    content.showKeyLabel = state.showKey ? "Hide" : "Show";
    content.canSave = state.editingKey != *tunnel.apiKey;
    content.isKeySaved = tunnel.isConfigured() && tunnel.isKeyStored();
    content.portal = {values.productDomain + "/portal", values.portalURL()};
}

void describeConnection(SettingsContent& content, const TunnelManager& tunnel) {
    const TunnelStatus status = tunnel.status;
    content.statusText = rawValue(status);
    content.statusColor = statusColor(status);
    content.exitIP = shortened(tunnel.exitIP);
    content.server = shortened(tunnel.serverLocation);
    if (tunnel.isConfigured()) {
        content.connectButton = connectButton(status);
    }
    if (!tunnel.lastLog->empty()) {
        content.lastLog = excerpt(*tunnel.lastLog);
    }
}

void describeHelper(SettingsContent& content, const TunnelManager& tunnel) {
    const bool isInstalled = tunnel.helperInstalled;
    content.startAtLogin = tunnel.startAtLogin();
    content.autoConnect = tunnel.autoConnect();
    content.canChangeAutoConnect = isInstalled;
    content.needsHelperForAutoConnect = content.autoConnect && !isInstalled;
    content.helperText = isInstalled ? "Installed" : "Not installed";
    content.helperColor = isInstalled ? ColorRole::green : ColorRole::orange;
    content.canInstallHelper = !isInstalled;
}

} // namespace

SettingsContent settingsContent(const TunnelManager& tunnel, const SettingsViewState& state,
                                const SettingsFacts& facts) {
    SettingsContent content;
    describeKey(content, tunnel, state, facts.operatorValues);
    describeConnection(content, tunnel);
    describeHelper(content, tunnel);
    content.version = facts.version.value_or("dev");
    content.binary = tunnel.binaryPath();
    if (!content.binary) {
        content.installCommand = tunnel.installCommand();
    }
    content.home = homePage(facts.operatorValues);
    content.showsUninstallConfirm = state.showUninstallConfirm;
    content.showsUninstallDone = state.showUninstallDone;
    return content;
}

} // namespace kestrelnet
