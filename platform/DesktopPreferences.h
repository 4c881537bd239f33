// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace kestrelnet {

enum class ColorScheme { noPreference, dark, light };

/// The font of text in windows.
struct DesktopFont {
    std::string family;
    /// 0 if only the family is known.
    double points = 0;
    /// From 1 to 1000; 400 is regular, 700 is bold.
    int weight = 400;
    bool isItalic = false;

    bool operator==(const DesktopFont&) const = default;
};

/// What the user has set for all programs of the desktop. A missing value means that the toolkit's
/// own applies. All values are in a range that a program can show.
struct DesktopPreferences {
    ColorScheme colorScheme = ColorScheme::noPreference;
    bool wantsHighContrast = false;
    std::optional<DesktopFont> font = {};
    /// The factor for the size of all text that the program itself has to apply.
    double textScale = 1;
    std::optional<std::chrono::milliseconds> doubleClickTime = {};
    /// The time in which the text cursor appears and disappears once; 0 if it does not flash.
    std::optional<std::chrono::milliseconds> cursorFlashTime = {};

    bool operator==(const DesktopPreferences&) const = default;
};

} // namespace kestrelnet
