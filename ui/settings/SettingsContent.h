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

/// The state of the settings window while it is open.
struct SettingsViewState {
    /// The text in the field. It starts empty: the stored key is never shown.
    std::string editingKey;
    bool showKey = false;
    bool showUninstallConfirm = false;
    bool showUninstallDone = false;
};

/// A text and the address that it opens.
struct Link {
    std::string text;
    std::string address;

    bool operator==(const Link&) const = default;
};

/// Everything that the settings window shows, as a plain value. A row without a value is not shown.
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
    /// How to install the client. Set if `binary` is not.
    std::optional<std::string> installCommand;
    std::optional<Link> home;

    bool showsUninstallConfirm = false;
    bool showsUninstallDone = false;

    bool operator==(const SettingsContent&) const = default;
};

/// Values that do not change while the program runs.
struct SettingsFacts {
    /// The bundle's version, if it has one.
    std::optional<std::string> version;
    OperatorValues operatorValues;
};

SettingsContent settingsContent(const TunnelManager& tunnel, const SettingsViewState& state,
                                const SettingsFacts& facts);

} // namespace kestrelnet
