// SPDX-License-Identifier: MIT
#include "ui/style/Colors.h"

#include "tests/ui/Contrast.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

constexpr ColorRole roles[] = {ColorRole::primary, ColorRole::secondary, ColorRole::accent,
                               ColorRole::orange,  ColorRole::green,     ColorRole::red};

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

TEST_P(ColorsTest, symbolsAndOutlinesAreVisibleOnEveryGround) {
    for (const Contrast strength : {Contrast::normal, Contrast::high}) {
        const ColorMode each{GetParam(), strength};
        const QPalette grounds = modePalette(each);
        for (const auto ground : {QPalette::Window, QPalette::Base, QPalette::Button}) {
            const QColor color = grounds.color(ground);
            EXPECT_GE(contrast(outlineColor(each), color), distinct) << ground;
            for (const ColorRole role : roles) {
                EXPECT_GE(contrast(symbolColor(role, each), color), distinct)
                    << "role " << static_cast<int>(role) << " ground " << ground;
                EXPECT_GE(contrast(fillEdgeColor(role, each), color), distinct)
                    << "role " << static_cast<int>(role) << " ground " << ground;
            }
        }
    }
}

/// Brown is a dark orange.
TEST_P(ColorsTest, orangeIsNeitherBrownNorRed) {
    for (const QColor& color :
         {textColor(ColorRole::orange, mode), symbolColor(ColorRole::orange, mode),
          fillColor(ColorRole::orange, mode)}) {
        EXPECT_GE(color.hsvHue(), 20) << color.name().toStdString();
        EXPECT_LE(color.hsvHue(), 40) << color.name().toStdString();
        EXPECT_GE(color.value(), 0.7 * 255) << color.name().toStdString();
    }
    EXPECT_GE(symbolColor(ColorRole::orange, mode).value(), 0.85 * 255);
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
        EXPECT_EQ(symbolColor(ColorRole::orange), symbolColor(ColorRole::orange, wanted));
        EXPECT_EQ(fillEdgeColor(ColorRole::green), fillEdgeColor(ColorRole::green, wanted));
        EXPECT_EQ(outlineColor(), outlineColor(wanted));
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
