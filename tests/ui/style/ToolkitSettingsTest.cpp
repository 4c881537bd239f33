// SPDX-License-Identifier: MIT
#include "ui/style/ToolkitSettings.h"

#include "tests/support/ScopedVariable.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;

constexpr auto themeVariable = "QT_QPA_PLATFORMTHEME";

QFont ownFont() {
    return QFont(QStringLiteral("Sans Serif"), 9);
}

TEST(PreferredFontTest, isTheOwnFontWithoutPreferences) {
    EXPECT_EQ(preferredFont(ownFont(), {}), ownFont());
}

TEST(PreferredFontTest, hasFamilySizeAndStyleOfTheDesktop) {
    const QFont font = preferredFont(
        ownFont(), {.font = DesktopFont{
                        .family = "Noto Sans", .points = 11, .weight = 600, .isItalic = true}});
    EXPECT_EQ(font.families(), QStringList(QStringLiteral("Noto Sans")));
    EXPECT_EQ(font.pointSizeF(), 11);
    EXPECT_EQ(font.weight(), QFont::DemiBold);
    EXPECT_TRUE(font.italic());
}

TEST(PreferredFontTest, keepsItsSizeIfOnlyTheFamilyIsKnown) {
    EXPECT_EQ(preferredFont(ownFont(), {.font = DesktopFont{.family = "Noto Sans"}}).pointSizeF(),
              9);
}

TEST(PreferredFontTest, isScaledWithAndWithoutAFontOfTheDesktop) {
    EXPECT_EQ(preferredFont(ownFont(), {.textScale = 1.5}).pointSizeF(), 13.5);
    EXPECT_EQ(preferredFont(ownFont(), {.font = DesktopFont{.family = "Noto Sans", .points = 12},
                                        .textScale = 1.25})
                  .pointSizeF(),
              15);
}

TEST(PreferredFontTest, staysReadableAndInsideTheWindows) {
    EXPECT_EQ(preferredFont(ownFont(), {.font = DesktopFont{.family = "Noto Sans", .points = 72},
                                        .textScale = 3})
                  .pointSizeF(),
              32);
    EXPECT_EQ(preferredFont(ownFont(), {.font = DesktopFont{.family = "Noto Sans", .points = 4},
                                        .textScale = 0.5})
                  .pointSizeF(),
              6);
}

TEST(PreferredFontTest, aFontInPixelsIsNotScaled) {
    QFont inPixels = ownFont();
    inPixels.setPixelSize(14);
    EXPECT_EQ(preferredFont(inPixels, {.textScale = 2}).pixelSize(), 14);
}

/// Restores what the tests change.
class ToolkitSettingsTest : public testing::Test {
  protected:
    ~ToolkitSettingsTest() override {
        QApplication::setFont(font_);
        QApplication::setDoubleClickInterval(doubleClick_);
        QApplication::setCursorFlashTime(cursorFlash_);
    }

    const QFont font_ = QApplication::font();
    const int doubleClick_ = QApplication::doubleClickInterval();
    const int cursorFlash_ = QApplication::cursorFlashTime();
    const DesktopPreferences preferences_{
        .font = DesktopFont{.family = "Noto Sans", .points = 17},
        .doubleClickTime = 750ms,
        .cursorFlashTime = 0ms,
    };
};

TEST_F(ToolkitSettingsTest, followThePreferencesAndReturn) {
    const ScopedVariable none(themeVariable, "");
    const ToolkitSettings settings;
    settings.apply(preferences_);
    EXPECT_EQ(QApplication::font().family(), QStringLiteral("Noto Sans"));
    EXPECT_EQ(QApplication::font().pointSizeF(), 17);
    EXPECT_EQ(QApplication::doubleClickInterval(), 750);
    EXPECT_EQ(QApplication::cursorFlashTime(), 0);
    settings.apply({});
    EXPECT_EQ(QApplication::font(), font_);
    EXPECT_EQ(QApplication::doubleClickInterval(), doubleClick_);
    EXPECT_EQ(QApplication::cursorFlashTime(), cursorFlash_);
}

TEST_F(ToolkitSettingsTest, leaveTheFontOfANamedThemeAlone) {
    const ScopedVariable named(themeVariable, "some-theme");
    QApplication::setFont(QFont(QStringLiteral("Theme Sans"), 12));
    ToolkitSettings().apply(preferences_);
    EXPECT_EQ(QApplication::font().family(), QStringLiteral("Theme Sans"));
    EXPECT_EQ(QApplication::doubleClickInterval(), doubleClick_);
}

TEST_F(ToolkitSettingsTest, followThePreferencesIfTheNamedThemeIsMissing) {
    const ScopedVariable named(themeVariable, "some-theme");
    QApplication::setFont(ownFont());
    ToolkitSettings().apply(preferences_);
    EXPECT_EQ(QApplication::font().family(), QStringLiteral("Noto Sans"));
}

} // namespace
} // namespace kestrelnet
