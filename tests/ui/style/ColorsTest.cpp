// SPDX-License-Identifier: MIT
#include "ui/style/Colors.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace kestrelnet {

namespace {

constexpr ColorRole roles[] = {ColorRole::primary, ColorRole::secondary, ColorRole::accent,
                               ColorRole::orange,  ColorRole::green,     ColorRole::red};

/// The least contrast in the accessibility guidelines for text of any size.
constexpr double readable = 4.5;

double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

double contrast(const QColor& one, const QColor& other) {
    const auto [low, high] = std::minmax({luminance(one), luminance(other)});
    return (high + 0.05) / (low + 0.05);
}

class ColorsTest : public testing::TestWithParam<Scheme> {
  protected:
    const ColorMode mode{.scheme = GetParam()};
    const QPalette palette = modePalette(mode);
};

TEST_P(ColorsTest, textOfEveryRoleIsReadableOnEveryGround) {
    for (const ColorRole role : roles) {
        for (const auto ground : {QPalette::Window, QPalette::Base, QPalette::Button}) {
            EXPECT_GE(contrast(textColor(role, mode), palette.color(ground)), readable)
                << "role " << static_cast<int>(role) << " ground " << ground;
        }
    }
}

TEST_P(ColorsTest, whiteLabelsAreReadableOnEveryFill) {
    for (const ColorRole role : roles) {
        const QColor fill = fillColor(role, mode);
        for (const QColor& face : {fill, fill.darker(110), fill.darker(130)}) {
            EXPECT_GE(contrast(Qt::white, face), readable) << "role " << static_cast<int>(role);
        }
    }
}

TEST_P(ColorsTest, fillsStandOutFromTheWindow) {
    for (const ColorRole role : roles) {
        EXPECT_GE(contrast(fillColor(role, mode), palette.color(QPalette::Window)), 2.4)
            << "role " << static_cast<int>(role);
    }
}

TEST_P(ColorsTest, thePaletteIsReadable) {
    using Pair = std::pair<QPalette::ColorRole, QPalette::ColorRole>;
    for (const auto& [text, ground] :
         {Pair{QPalette::WindowText, QPalette::Window}, Pair{QPalette::Text, QPalette::Base},
          Pair{QPalette::ButtonText, QPalette::Button},
          Pair{QPalette::ToolTipText, QPalette::ToolTipBase},
          Pair{QPalette::PlaceholderText, QPalette::Base}, Pair{QPalette::Link, QPalette::Window},
          Pair{QPalette::HighlightedText, QPalette::Highlight}}) {
        EXPECT_GE(contrast(palette.color(text), palette.color(ground)), readable)
            << text << " on " << ground;
    }
}

TEST_P(ColorsTest, theSchemeCanBeReadFromThePalette) {
    EXPECT_EQ(schemeOf(palette), GetParam());
}

/// The least enhanced contrast in the guidelines is 7.
TEST_P(ColorsTest, highContrastIsHigh) {
    constexpr double enhanced = 7;
    const ColorMode highMode{GetParam(), Contrast::high};
    const QPalette high = modePalette(highMode);
    EXPECT_EQ(schemeOf(high), GetParam());
    const QColor window = high.color(QPalette::Window);
    for (const ColorRole role : roles) {
        EXPECT_GE(contrast(textColor(role, highMode), window), enhanced) << static_cast<int>(role);
        EXPECT_GE(contrast(Qt::white, fillColor(role, highMode)), enhanced)
            << static_cast<int>(role);
    }
    EXPECT_GE(contrast(lineColor(highMode), window), enhanced);
    EXPECT_GE(contrast(high.color(QPalette::HighlightedText), high.color(QPalette::Highlight)),
              enhanced);
}

TEST_P(ColorsTest, settingTheModeChangesThePaletteAndTheDefaultColours) {
    for (const Contrast contrast : {Contrast::high, Contrast::normal}) {
        const ColorMode wanted{GetParam(), contrast};
        setColorMode(wanted);
        EXPECT_EQ(colorMode(), wanted);
        EXPECT_EQ(QApplication::palette().color(QPalette::Window),
                  modePalette(wanted).color(QPalette::Window));
        EXPECT_EQ(textColor(ColorRole::secondary), textColor(ColorRole::secondary, wanted));
        EXPECT_EQ(fillColor(ColorRole::green), fillColor(ColorRole::green, wanted));
        EXPECT_EQ(lineColor(), lineColor(wanted));
    }
    setColorMode({});
}

INSTANTIATE_TEST_SUITE_P(Schemes, ColorsTest, testing::Values(Scheme::light, Scheme::dark),
                         [](const auto& each) {
                             return std::string(each.param == Scheme::dark ? "Dark" : "Light");
                         });

} // namespace

} // namespace kestrelnet
