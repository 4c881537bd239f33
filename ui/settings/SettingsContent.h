// SPDX-License-Identifier: MIT
#pragma once

#include "core/OperatorValues.h"
#include "ui/style/ColorRole.h"
#include "ui/style/StatusStyle.h"

#include <optional>
#include <string>
#include <string_view>

namespace kestrelnet {

class TunnelManager;

/// What the settings window keeps for itself, as long as it is open.
struct SettingsViewState {
    /// Not the stored key: that one is never shown again.
    std::string editingKey;
    bool showKey = false;
    bool showUninstallConfirm = false;
    bool showUninstallDone = false;
};

/// Text that opens an address.
struct Link {
    std::string text;
    std::string address;

    bool operator==(const Link&) const = default;
};

/// All that the settings window shows, as a plain value. A row that has no value is not there.
struct SettingsContent {
    // Device API Key
    bool masksKey = true;
    std::string_view showKeyLabel;
    bool canSave = false;
    bool isKeySaved = false;
    Link portal;

    // Connection
    std::string_view statusText;
    ColorRole statusColor = ColorRole::secondary;
    std::optional<std::string> exitIP;
    std::optional<std::string> server;
    std::optional<ConnectButton> connectButton;
    std::optional<std::string> lastLog;

    // Startup
    bool startAtLogin = false;
    bool autoConnect = false;
    bool canChangeAutoConnect = false;
    bool needsHelperForAutoConnect = false;

    // Helper
    std::string_view helperText;
    ColorRole helperColor = ColorRole::orange;
    bool canInstallHelper = false;

    // About
    std::string version;
    std::optional<std::string> binary;
    /// How to get the client; there when `binary` is not.
    std::optional<std::string> installCommand;
    std::optional<Link> home;

    bool showsUninstallConfirm = false;
    bool showsUninstallDone = false;

    bool operator==(const SettingsContent&) const = default;
};

/// What does not change while the program runs.
struct SettingsFacts {
    /// The bundle's own version, when it tells one.
    std::optional<std::string> version;
    OperatorValues operatorValues;
};

SettingsContent settingsContent(const TunnelManager& tunnel, const SettingsViewState& state,
                                const SettingsFacts& facts);

} // namespace kestrelnet
