// SPDX-License-Identifier: MIT
#include "platform/linux/DesktopSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::Eq;
using testing::Optional;

constexpr auto appearance = "org.freedesktop.appearance";
constexpr auto gnome = "org.gnome.desktop.interface";
constexpr auto gnomeMouse = "org.gnome.desktop.peripherals.mouse";
constexpr auto kdeGeneral = "org.kde.kdeglobals.General";
constexpr auto kde = "org.kde.kdeglobals.KDE";

DesktopPreferences onGnome(const DesktopSettings& settings) {
    return preferencesFrom(settings, false);
}

DesktopPreferences onKde(const DesktopSettings& settings) {
    return preferencesFrom(settings, true);
}

TEST(DesktopSettingsTest, withoutSettingsThereAreNoPreferences) {
    EXPECT_EQ(onGnome({}), DesktopPreferences());
    EXPECT_EQ(onKde({{gnome, {}}, {kde, {}}}), DesktopPreferences());
}

TEST(DesktopSettingsTest, readsTheColorScheme) {
    const auto scheme = [](SettingValue value) {
        return onGnome({{appearance, {{"color-scheme", std::move(value)}}}}).colorScheme;
    };
    EXPECT_EQ(scheme(std::int64_t{1}), ColorScheme::dark);
    EXPECT_EQ(scheme(std::int64_t{2}), ColorScheme::light);
    for (const SettingValue& value :
         {SettingValue(std::int64_t{0}), SettingValue(std::int64_t{7}), SettingValue(true),
          SettingValue("dark"s), SettingValue(std::numeric_limits<double>::quiet_NaN())}) {
        EXPECT_EQ(scheme(value), ColorScheme::noPreference);
    }
}

TEST(DesktopSettingsTest, aDarkThemeCountsWhereNoColorSchemeIsPreferred) {
    const auto scheme = [](const char* theme, std::int64_t preferred = 0) {
        return onGnome({{appearance, {{"color-scheme", preferred}}},
                        {gnome, {{"gtk-theme", std::string(theme)}}}})
            .colorScheme;
    };
    for (const char* theme :
         {"Adwaita-dark", "Arc-Dark", "Mint-Y-Dark-Aqua", "Adwaita:dark", "HighContrastInverse"}) {
        EXPECT_EQ(scheme(theme), ColorScheme::dark) << theme;
    }
    for (const char* theme : {"", "Adwaita", "Darkness", "HighContrast", "-", "dar-k"}) {
        EXPECT_EQ(scheme(theme), ColorScheme::noPreference) << theme;
    }
    EXPECT_EQ(scheme("Adwaita-dark", 2), ColorScheme::light);
}

TEST(DesktopSettingsTest, readsTheContrastFromEachOfItsPlaces) {
    EXPECT_TRUE(onGnome({{appearance, {{"contrast", std::int64_t{1}}}}}).wantsHighContrast);
    EXPECT_TRUE(onGnome({{"org.gnome.desktop.a11y.interface", {{"high-contrast", true}}}})
                    .wantsHighContrast);
    EXPECT_TRUE(onGnome({{gnome, {{"gtk-theme", "HighContrast"s}}}}).wantsHighContrast);
    EXPECT_FALSE(onGnome({{appearance, {{"contrast", std::int64_t{2}}}},
                          {"org.gnome.desktop.a11y.interface", {{"high-contrast", false}}},
                          {gnome, {{"gtk-theme", "Adwaita"s}}}})
                     .wantsHighContrast);
}

TEST(DesktopSettingsTest, readsTheFontOfTheDesktop) {
    const DesktopSettings both{{gnome, {{"font-name", "Cantarell 11"s}}},
                               {kdeGeneral, {{"font", "Noto Sans,10,-1,5,50,0,0,0,0,0"s}}}};
    EXPECT_THAT(onGnome(both).font, Optional(DesktopFont{.family = "Cantarell", .points = 11}));
    EXPECT_THAT(onKde(both).font, Optional(DesktopFont{.family = "Noto Sans", .points = 10}));
}

TEST(DesktopSettingsTest, kdeWithoutAFontOfItsOwnHasTheCommonOne) {
    for (const SettingValue& value : {SettingValue(""s), SettingValue(true)}) {
        EXPECT_THAT(
            onKde({{gnome, {{"font-name", "Cantarell 11"s}}}, {kdeGeneral, {{"font", value}}}})
                .font,
            Optional(DesktopFont{.family = "Cantarell", .points = 11}));
    }
}

TEST(DesktopSettingsTest, aFontOfTheWrongTypeIsNoFont) {
    EXPECT_THAT(onGnome({{gnome, {{"font-name", std::int64_t{11}}}}}).font, Eq(std::nullopt));
}

TEST(DesktopSettingsTest, readsTheTextScaleInItsRange) {
    const auto scale = [](SettingValue value) {
        return onGnome({{gnome, {{"text-scaling-factor", std::move(value)}}}}).textScale;
    };
    EXPECT_EQ(scale(1.25), 1.25);
    EXPECT_EQ(scale(std::int64_t{2}), 2);
    for (const double value : {0.0, -1.0, 0.49, 3.1, 1e300, std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(scale(value), 1) << value;
    }
    EXPECT_EQ(scale("large"s), 1);
    EXPECT_EQ(scale(true), 1);
}

TEST(DesktopSettingsTest, readsTheDoubleClickTimeInItsRange) {
    const auto time = [](SettingValue value) {
        return onGnome({{gnomeMouse, {{"double-click", std::move(value)}}}}).doubleClickTime;
    };
    EXPECT_THAT(time(std::int64_t{600}), Optional(600ms));
    for (const std::int64_t value :
         {std::int64_t{0}, std::int64_t{-400}, std::int64_t{49}, std::int64_t{5001},
          std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}) {
        EXPECT_THAT(time(value), Eq(std::nullopt)) << value;
    }
    EXPECT_THAT(time("soon"s), Eq(std::nullopt));
    EXPECT_THAT(onGnome({{"org.gnome.settings-daemon.peripherals.mouse",
                          {{"double-click", std::int64_t{300}}}}})
                    .doubleClickTime,
                Optional(300ms));
}

TEST(DesktopSettingsTest, readsTheCursorFlashTime) {
    const auto time = [](SettingValue flashes, std::int64_t milliseconds) {
        return onGnome(
                   {{gnome,
                     {{"cursor-blink", std::move(flashes)}, {"cursor-blink-time", milliseconds}}}})
            .cursorFlashTime;
    };
    EXPECT_THAT(time(true, 800), Optional(800ms));
    EXPECT_THAT(time(false, 800), Optional(0ms));
    EXPECT_THAT(time("no"s, 800), Optional(800ms)) << "a value of the wrong type";
    EXPECT_THAT(time(true, 0), Optional(0ms));
    EXPECT_THAT(time(true, 99), Eq(std::nullopt));
    EXPECT_THAT(time(true, 10001), Eq(std::nullopt));
}

TEST(DesktopSettingsTest, theNumbersOfKdeAreTexts) {
    const DesktopSettings settings{
        {kde, {{"DoubleClickInterval", "700"s}, {"CursorBlinkRate", "1200"s}}},
        {gnome, {{"cursor-blink-time", std::int64_t{900}}}},
        {gnomeMouse, {{"double-click", std::int64_t{300}}}}};
    EXPECT_THAT(onKde(settings).doubleClickTime, Optional(700ms));
    EXPECT_THAT(onKde(settings).cursorFlashTime, Optional(1200ms));
    EXPECT_THAT(onGnome(settings).doubleClickTime, Optional(300ms));
    EXPECT_THAT(onGnome(settings).cursorFlashTime, Optional(900ms));
    EXPECT_THAT(onKde({{kde, {{"CursorBlinkRate", "0"s}}}}).cursorFlashTime, Optional(0ms));
    EXPECT_THAT(onKde({{kde, {{"CursorBlinkRate", "fast"s}}}}).cursorFlashTime, Eq(std::nullopt));
}

TEST(DesktopSettingsTest, theSettingsOfX11ComeBeforeThoseOfThePortal) {
    const DesktopSettings settings{{x11Group,
                                    {{"Gtk/FontName", "Liberation Sans 12"s},
                                     {"Net/ThemeName", "Greybird-dark"s},
                                     {"Net/DoubleClickTime", std::int64_t{250}},
                                     {"Net/CursorBlinkTime", std::int64_t{600}}}},
                                   {gnome,
                                    {{"font-name", "Cantarell 11"s},
                                     {"gtk-theme", "Adwaita"s},
                                     {"text-scaling-factor", 1.5},
                                     {"cursor-blink", false}}},
                                   {gnomeMouse, {{"double-click", std::int64_t{300}}}}};
    EXPECT_EQ(onGnome(settings),
              (DesktopPreferences{.colorScheme = ColorScheme::dark,
                                  .font = DesktopFont{.family = "Liberation Sans", .points = 12},
                                  .textScale = 1.5,
                                  .doubleClickTime = 250ms,
                                  .cursorFlashTime = 600ms}));
}

TEST(DesktopSettingsTest, onX11TheCursorMayNotFlashEither) {
    EXPECT_THAT(onGnome({{x11Group,
                          {{"Net/CursorBlink", std::int64_t{0}},
                           {"Net/CursorBlinkTime", std::int64_t{600}}}}})
                    .cursorFlashTime,
                Optional(0ms));
}

TEST(DesktopSettingsTest, aResolutionOfX11ReplacesTheTextScale) {
    EXPECT_EQ(onGnome({{x11Group, {{"Xft/DPI", std::int64_t{96 * 1024}}}},
                       {gnome, {{"text-scaling-factor", 1.5}}}})
                  .textScale,
              1);
}

} // namespace
} // namespace kestrelnet
