// SPDX-License-Identifier: MIT
#include "platform/linux/FontName.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace kestrelnet {
namespace {

using testing::Eq;
using testing::Optional;

TEST(FontNameTest, aDescriptionHasAFamilyAndASize) {
    EXPECT_THAT(fontFromDescription("Cantarell 11"),
                Optional(DesktopFont{.family = "Cantarell", .points = 11}));
    EXPECT_THAT(fontFromDescription("  Noto Sans Mono\t10.5 "),
                Optional(DesktopFont{.family = "Noto Sans Mono", .points = 10.5}));
    EXPECT_THAT(fontFromDescription("Noto Sans, 10"),
                Optional(DesktopFont{.family = "Noto Sans", .points = 10}));
}

TEST(FontNameTest, aSizeInPixelsIsConverted) {
    EXPECT_THAT(fontFromDescription("Sans 16px"),
                Optional(DesktopFont{.family = "Sans", .points = 12}));
}

TEST(FontNameTest, stylesStandBehindTheFamily) {
    EXPECT_THAT(
        fontFromDescription("Noto Sans Semi-Bold Italic 9"),
        Optional(DesktopFont{.family = "Noto Sans", .points = 9, .weight = 600, .isItalic = true}));
    EXPECT_THAT(fontFromDescription("Ubuntu LIGHT 11"),
                Optional(DesktopFont{.family = "Ubuntu", .points = 11, .weight = 300}));
    EXPECT_THAT(fontFromDescription("Bold Sans Regular 11"),
                Optional(DesktopFont{.family = "Bold Sans", .points = 11}));
}

TEST(FontNameTest, variationsAndFeaturesAreLeftOut) {
    EXPECT_THAT(fontFromDescription("Inter 11 @wght=450,slnt=0 #tnum=1"),
                Optional(DesktopFont{.family = "Inter", .points = 11}));
}

TEST(FontNameTest, theFirstOfSeveralFamiliesCounts) {
    EXPECT_THAT(fontFromDescription("Cantarell,Noto Sans Bold 11"),
                Optional(DesktopFont{.family = "Cantarell", .points = 11, .weight = 700}));
}

TEST(FontNameTest, aSizeThatCannotBeShownIsLeftOut) {
    for (const char* size : {"0", "-3", "3.9", "73", "1e300", "4000000000"}) {
        const std::string text = "Sans " + std::string(size);
        EXPECT_THAT(fontFromDescription(text), Optional(DesktopFont{.family = "Sans"})) << text;
    }
}

TEST(FontNameTest, textWithoutAFamilyIsNoFont) {
    for (const char* text : {"", " ", "11", "Bold", "Bold Italic 12", "@wght=400", ",", ", 11"}) {
        EXPECT_THAT(fontFromDescription(text), Eq(std::nullopt)) << text;
    }
    EXPECT_THAT(fontFromDescription(std::string(100'000, 'a')), Eq(std::nullopt));
    EXPECT_THAT(fontFromDescription(std::string(100'000, '@')), Eq(std::nullopt));
}

TEST(FontNameTest, whatIsNoNumberBelongsToTheFamily) {
    for (const char* text : {"Sans nan", "Sans inf", "Sans 1e999", "Sans 0x10", "Sans px"}) {
        EXPECT_THAT(fontFromDescription(text), Optional(DesktopFont{.family = text})) << text;
    }
}

TEST(FontNameTest, fieldsAreInTheFormOfBothGenerations) {
    EXPECT_THAT(fontFromFields("Noto Sans,10,-1,5,50,0,0,0,0,0"),
                Optional(DesktopFont{.family = "Noto Sans", .points = 10}));
    EXPECT_THAT(fontFromFields("Noto Sans,10.5,-1,5,75,1,0,0,0,0,Bold Italic"),
                Optional(DesktopFont{
                    .family = "Noto Sans", .points = 10.5, .weight = 700, .isItalic = true}));
    EXPECT_THAT(fontFromFields("Noto Sans,12,-1,5,600,0,0,0,0,0,0,0,0,0,0,1"),
                Optional(DesktopFont{.family = "Noto Sans", .points = 12, .weight = 600}));
}

TEST(FontNameTest, theWeightsOfTheFormerGenerationAreConverted) {
    const std::pair<const char*, int> weights[] = {{"1", 100},  {"12", 200}, {"25", 300},
                                                   {"50", 400}, {"57", 500}, {"63", 600},
                                                   {"75", 700}, {"81", 800}, {"87", 900}};
    for (const auto& [field, weight] : weights) {
        const std::string text = std::string("Sans,10,-1,5,") + field + ",0";
        EXPECT_THAT(fontFromFields(text),
                    Optional(DesktopFont{.family = "Sans", .points = 10, .weight = weight}))
            << text;
    }
}

TEST(FontNameTest, fieldsMayGiveTheSizeInPixels) {
    EXPECT_THAT(fontFromFields("Sans,-1,16,5,50,0"),
                Optional(DesktopFont{.family = "Sans", .points = 12}));
}

TEST(FontNameTest, fieldsThatMakeNoSenseAreLeftOut) {
    EXPECT_THAT(fontFromFields("Sans"), Optional(DesktopFont{.family = "Sans"}));
    EXPECT_THAT(fontFromFields("Sans,900,900,x,-7,nan"), Optional(DesktopFont{.family = "Sans"}));
    EXPECT_THAT(fontFromFields("Sans,10,-1,5,1e9,x"),
                Optional(DesktopFont{.family = "Sans", .points = 10}));
    EXPECT_THAT(fontFromFields(",10,-1,5,50,0"), Eq(std::nullopt));
    EXPECT_THAT(fontFromFields(""), Eq(std::nullopt));
    EXPECT_THAT(fontFromFields(std::string(100'000, ',')), Eq(std::nullopt));
}

} // namespace
} // namespace kestrelnet
