// SPDX-License-Identifier: MIT
#include "platform/linux/DesktopSettings.h"

#include "platform/linux/FontName.h"
#include "platform/linux/SettingText.h"

#include <cmath>
#include <string_view>
#include <utility>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::milliseconds;

constexpr auto appearance = "org.freedesktop.appearance";
constexpr auto gnome = "org.gnome.desktop.interface";
constexpr auto gnomeAccess = "org.gnome.desktop.a11y.interface";
constexpr auto gnomeMouse = "org.gnome.desktop.peripherals.mouse";
/// The name of the group above in older portals.
constexpr auto gnomeFormerMouse = "org.gnome.settings-daemon.peripherals.mouse";
constexpr auto kdeGeneral = "org.kde.kdeglobals.General";
constexpr auto kde = "org.kde.kdeglobals.KDE";

constexpr double smallestScale = 0.5;
constexpr double largestScale = 3;

constexpr auto shortestClick = 50ms;
constexpr auto longestClick = 5000ms;
constexpr auto shortestFlash = 100ms;
constexpr auto longestFlash = 10000ms;

class Reader {
  public:
    explicit Reader(const DesktopSettings& settings) : settings_(settings) {}

    const SettingValue* value(std::string_view group, std::string_view key) const {
        const auto values = settings_.find(group);
        if (values == settings_.end()) {
            return nullptr;
        }
        const auto found = values->second.find(key);
        return found == values->second.end() ? nullptr : &found->second;
    }

    /// An empty text without such a text.
    std::string_view text(std::string_view group, std::string_view key) const {
        const SettingValue* const found = value(group, key);
        const auto* const text = found == nullptr ? nullptr : std::get_if<std::string>(found);
        return text == nullptr ? std::string_view() : *text;
    }

    /// KDE's numbers are texts.
    std::optional<double> number(std::string_view group, std::string_view key) const {
        const SettingValue* const found = value(group, key);
        if (found == nullptr) {
            return std::nullopt;
        }
        if (const auto* const integer = std::get_if<std::int64_t>(found)) {
            return static_cast<double>(*integer);
        }
        if (const auto* const real = std::get_if<double>(found)) {
            return *real;
        }
        return numberFrom(text(group, key));
    }

    /// The milliseconds of a setting; none outside of the range.
    std::optional<Milliseconds> time(std::string_view group, std::string_view key,
                                     Milliseconds shortest, Milliseconds longest) const {
        const auto count = number(group, key);
        if (!count || !(*count >= static_cast<double>(shortest.count())) ||
            !(*count <= static_cast<double>(longest.count()))) {
            return std::nullopt;
        }
        return Milliseconds(std::lround(*count));
    }

    bool is(bool expected, std::string_view group, std::string_view key) const {
        const SettingValue* const found = value(group, key);
        const auto* const flag = found == nullptr ? nullptr : std::get_if<bool>(found);
        return flag != nullptr && *flag == expected;
    }

  private:
    const DesktopSettings& settings_;
};

bool isHighContrastTheme(std::string_view theme) {
    return lowerCase(theme).starts_with("highcontrast");
}

/// Whether the name of a desktop's theme says that it is dark: "Greybird-dark", "Mint-Y-Dark-Aqua".
bool isDarkTheme(std::string_view theme) {
    constexpr auto separators = "-_: ";
    const std::string name = lowerCase(theme);
    if (isHighContrastTheme(name) && name.ends_with("inverse")) {
        return true;
    }
    std::string_view rest = name;
    for (;;) {
        const std::size_t end = rest.find_first_of(separators);
        if (rest.substr(0, end) == "dark") {
            return true;
        }
        if (end == std::string_view::npos) {
            return false;
        }
        rest.remove_prefix(end + 1);
    }
}

/// The name of the theme of GTK's programs.
std::string_view theme(const Reader& reader) {
    const std::string_view name = reader.text(x11Group, "Net/ThemeName");
    return name.empty() ? reader.text(gnome, "gtk-theme") : name;
}

/// Desktops without the setting have themes that are dark.
ColorScheme colorScheme(const Reader& reader) {
    const auto number = reader.number(appearance, "color-scheme");
    if (number == 1) {
        return ColorScheme::dark;
    }
    if (number == 2) {
        return ColorScheme::light;
    }
    return isDarkTheme(theme(reader)) ? ColorScheme::dark : ColorScheme::noPreference;
}

bool wantsHighContrast(const Reader& reader) {
    return reader.number(appearance, "contrast") == 1 ||
           reader.is(true, gnomeAccess, "high-contrast") || isHighContrastTheme(theme(reader));
}

std::optional<DesktopFont> font(const Reader& reader, bool isKde) {
    auto result = isKde ? fontFromFields(reader.text(kdeGeneral, "font")) : std::nullopt;
    if (!result) {
        result = fontFromDescription(reader.text(x11Group, "Gtk/FontName"));
    }
    return result ? result : fontFromDescription(reader.text(gnome, "font-name"));
}

/// A settings manager of X11 sets the resolution of text, which the toolkit follows.
double textScale(const Reader& reader) {
    if (reader.value(x11Group, "Xft/DPI") != nullptr) {
        return 1;
    }
    const double scale = reader.number(gnome, "text-scaling-factor").value_or(1);
    return scale >= smallestScale && scale <= largestScale ? scale : 1;
}

std::optional<Milliseconds> doubleClickTime(const Reader& reader, bool isKde) {
    const auto time = [&reader](std::string_view group, std::string_view key) {
        return reader.time(group, key, shortestClick, longestClick);
    };
    auto result = isKde ? time(kde, "DoubleClickInterval") : std::nullopt;
    for (const auto& [group, key] :
         {std::pair(x11Group, "Net/DoubleClickTime"), std::pair(gnomeMouse, "double-click"),
          std::pair(gnomeFormerMouse, "double-click")}) {
        result = result ? result : time(group, key);
    }
    return result;
}

std::optional<Milliseconds> cursorFlashTime(const Reader& reader, bool isKde) {
    const auto time = [&reader](std::string_view group, std::string_view key) {
        return reader.number(group, key) == 0
                   ? std::optional(0ms)
                   : reader.time(group, key, shortestFlash, longestFlash);
    };
    auto result = isKde ? time(kde, "CursorBlinkRate") : std::nullopt;
    if (!result && reader.number(x11Group, "Net/CursorBlink") == 0) {
        result = 0ms;
    }
    if (!result) {
        result = time(x11Group, "Net/CursorBlinkTime");
    }
    if (!result && reader.is(false, gnome, "cursor-blink")) {
        result = 0ms;
    }
    return result ? result : time(gnome, "cursor-blink-time");
}

} // namespace

const std::vector<std::string>& portalGroups() {
    static const std::vector<std::string> groups{
        appearance, gnome, gnomeAccess, gnomeMouse, gnomeFormerMouse, kdeGeneral, kde};
    return groups;
}

DesktopPreferences preferencesFrom(const DesktopSettings& settings, bool isKde) {
    const Reader reader(settings);
    return {.colorScheme = colorScheme(reader),
            .wantsHighContrast = wantsHighContrast(reader),
            .font = font(reader, isKde),
            .textScale = textScale(reader),
            .doubleClickTime = doubleClickTime(reader, isKde),
            .cursorFlashTime = cursorFlashTime(reader, isKde)};
}

} // namespace kestrelnet
