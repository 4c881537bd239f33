// SPDX-License-Identifier: MIT
#include "platform/linux/XSettings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace kestrelnet {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

const SettingValue fontName = "Sans 10"s;

/// A number, a colour and a text.
const std::string property = "\0...\1\0\0\0\3\0\0\0"
                             "\0.\6\0Xft/an..\7\0\0\0\xfe\xff\xff\xff"
                             "\2.\1\0c...\7\0\0\0rrggbbaa"
                             "\1.\14\0Gtk/FontName\7\0\0\0\7\0\0\0Sans 10."s;

TEST(XSettingsPropertyTest, hasNumbersAndTexts) {
    EXPECT_THAT(settingsFromXProperty(property),
                ElementsAre(Pair("Gtk/FontName", fontName),
                            Pair("Xft/an", SettingValue(std::int64_t{-2}))));
}

TEST(XSettingsPropertyTest, mayHaveTheOtherByteOrder) {
    EXPECT_THAT(settingsFromXProperty("\1...\0\0\0\1\0\0\0\1"
                                      "\1.\0\14Gtk/FontName\0\0\0\7\0\0\0\7Sans 10."s),
                ElementsAre(Pair("Gtk/FontName", fontName)));
}

TEST(XSettingsPropertyTest, anyPartOfItIsSafe) {
    for (std::size_t size = 0; size < property.size(); ++size) {
        const SettingGroup group =
            settingsFromXProperty(std::string_view(property).substr(0, size));
        EXPECT_FALSE(group.contains("Gtk/FontName")) << size;
    }
}

TEST(XSettingsPropertyTest, anyWrongByteIsSafe) {
    for (std::size_t place = 0; place < property.size(); ++place) {
        for (const char byte : {'\0', '\1', '\3', '\x7f', '\xff'}) {
            std::string wrong = property;
            wrong[place] = byte;
            EXPECT_LE(settingsFromXProperty(wrong).size(), 3U);
        }
    }
}

TEST(XSettingsPropertyTest, whatFollowsAnUnknownTypeIsLeftOut) {
    std::string unknown = property;
    unknown[12] = '\3';
    EXPECT_THAT(settingsFromXProperty(unknown), IsEmpty());
}

TEST(XSettingsPropertyTest, aHugeCountOrSizeEndsAtTheLastByte) {
    EXPECT_THAT(settingsFromXProperty("\0...\1\0\0\0\xff\xff\xff\xff"s), IsEmpty());
    EXPECT_THAT(settingsFromXProperty("\0...\1\0\0\0\1\0\0\0\1.\1\0a...\0\0\0\0\xff\xff\xff\xff"s),
                IsEmpty());
}

} // namespace
} // namespace kestrelnet
