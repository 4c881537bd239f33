// SPDX-License-Identifier: MIT
#pragma once

#include "platform/DesktopPreferences.h"

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

namespace kestrelnet {

using SettingValue = std::variant<bool, std::int64_t, double, std::string>;
using SettingGroup = std::map<std::string, SettingValue, std::less<>>;
/// The settings of a desktop by group and key, as their source has sent them.
using DesktopSettings = std::map<std::string, SettingGroup, std::less<>>;

/// The groups that a settings portal has.
const std::vector<std::string>& portalGroups();

/// The group for the settings of a settings manager of X11.
inline constexpr auto x11Group = "x11";

/// Reads the preferences out of any settings. Values of the wrong type or outside of a sensible
/// range count as missing. The settings of X11 come before those of the portal, which has GNOME's
/// on other desktops, too. `isKde`: KDE's groups come before all others; otherwise they do not
/// count.
DesktopPreferences preferencesFrom(const DesktopSettings& settings, bool isKde);

} // namespace kestrelnet
