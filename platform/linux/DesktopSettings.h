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

/// The groups in which the desktops' own settings lie.
const std::vector<std::string>& settingGroups();

/// Reads the preferences out of any settings. Values of the wrong type or outside of a sensible
/// range count as missing. `isKde`: KDE's groups come before all others; otherwise they do not
/// count.
DesktopPreferences preferencesFrom(const DesktopSettings& settings, bool isKde);

} // namespace kestrelnet
