// SPDX-License-Identifier: MIT
#include "platform/Text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace kestrelnet::text {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

void appendUtf8(std::string& text, char32_t point) {
    const auto append = [&text](char32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
        append(point);
    } else if (point < 0x800) {
        append(0xC0 | point >> 6);
        append(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        append(0xE0 | point >> 12);
        append(0x80 | (point >> 6 & 0x3F));
        append(0x80 | (point & 0x3F));
    } else {
        append(0xF0 | point >> 18);
        append(0x80 | (point >> 12 & 0x3F));
        append(0x80 | (point >> 6 & 0x3F));
        append(0x80 | (point & 0x3F));
    }
}

/// Every Unicode character, one after the other.
std::string everything() {
    std::string text;
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
        if (point < 0xD800 || point > 0xDFFF) {
            appendUtf8(text, point);
        }
    }
    return text;
}

TEST(CharacterCountTest, countsGraphemeClusters) {
    struct Case {
        std::string_view text;
        std::size_t count;
    };
    for (const auto& [text, count] : {
             Case{"", 0},
             Case{"dev_123456", 10},
             Case{"dev_1234567", 11},
             Case{" a b ", 5},
             Case{"a\0b"sv, 3},
             Case{"\r\n", 1},
             Case{"\n\n", 2},
             Case{"\u00E9", 1},
             Case{"e\u0301", 1},
             Case{"e\u0301\u0302e", 2},
             Case{"\u1100\u1161\u11A8", 1},
             Case{"\u0928\u093F", 1},
             Case{"\U0001F600", 1},
             Case{"\U0001F44D\U0001F3FD", 1},
             Case{"\U0001F468\u200D\U0001F469\u200D\U0001F467", 1},
             Case{"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", 2},
             Case{"\uFEFFa", 2},
         }) {
        EXPECT_EQ(characterCount(text), count) << text;
    }
}

TEST(CharacterCountTest, countsALongText) {
    EXPECT_EQ(characterCount(std::string(100'000, 'x')), 100'000U);
}

TEST(TrimTest, removesEveryKindOfBlankAtBothEnds) {
    for (const std::string_view blank :
         {" ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\r\n",   "\u0085", "\u00A0",
          "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006", "\u2007",
          "\u2008", "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"}) {
        EXPECT_EQ(trimWhitespaceAndNewlines(blank), "");
        std::string text;
        for (const std::string_view part : {blank, blank, "a"sv, blank, "b"sv, blank}) {
            text += part;
        }
        const std::string_view trimmed =
            std::string_view(text).substr(2 * blank.size(), blank.size() + 2);
        EXPECT_EQ(trimWhitespaceAndNewlines(text), trimmed);
    }
}

TEST(TrimTest, keepsOtherCharacters) {
    for (const std::string& text :
         {""s, "203.0.113.7"s, "\0"s, "\x1F"s, "\x7F"s, "\u200B"s, "\u2060"s, "\uFEFF"s,
          "\uFEFFkey"s, "\u180E"s, "_"s, "\u0301"s, "\U0001F600"s}) {
        EXPECT_EQ(trimWhitespaceAndNewlines(text), text);
        EXPECT_EQ(trimWhitespaceAndNewlines(" " + text + "\n"), text);
    }
}

TEST(TrimTest, changesNothingBetweenTheEnds) {
    const std::string text = std::string("<").append(everything()).append(">");
    EXPECT_TRUE(trimWhitespaceAndNewlines("\n" + text + " ") == text);
}

TEST(ValidUtf8Test, acceptsEveryCharacter) {
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_TRUE(isValidUtf8(everything()));
}

TEST(ValidUtf8Test, refusesInvalidSequences) {
    for (const std::string_view bytes : {
             "\x80"sv,             // a continuation without a beginning
             "\xBF"sv,             //
             "\xC0\x80"sv,         // longer than need be
             "\xC1\xBF"sv,         //
             "\xE0\x80\x80"sv,     //
             "\xE0\x9F\xBF"sv,     //
             "\xF0\x80\x80\x80"sv, //
             "\xF0\x8F\xBF\xBF"sv, //
             "\xED\xA0\x80"sv,     // surrogates
             "\xED\xBF\xBF"sv,     //
             "\xED\xA0\x80\xED\xB0\x80"sv,
             "\xF4\x90\x80\x80"sv, // past the last character
             "\xF5\x80\x80\x80"sv, //
             "\xF8\x88\x80\x80\x80"sv,
             "\xFE"sv,
             "\xFF"sv,
             "\xC3"sv, // cut short
             "\xE2\x82"sv,
             "\xF0\x9F\x98"sv,
             "\xC3("sv, // a continuation is missing
             "\xE2(\x82"sv,
             "\xF0\x9F(\x98"sv,
             "\xC3\xA9\xA9"sv, // one too many
         }) {
        EXPECT_FALSE(isValidUtf8(bytes)) << testing::PrintToString(bytes);
    }
}

TEST(ValidUtf8Test, refusesOneInvalidByteAtAnyPosition) {
    const std::string good(100, 'x');
    for (std::size_t position = 0; position < good.size(); ++position) {
        std::string bad = good;
        bad[position] = '\xFF';
        EXPECT_FALSE(isValidUtf8(bad)) << position;
        EXPECT_TRUE(isValidUtf8(std::string_view(bad).substr(0, position))) << position;
        EXPECT_TRUE(isValidUtf8(std::string_view(bad).substr(position + 1))) << position;
    }
}

TEST(ValidUtf8Test, refusesATruncatedCharacterOfAnyLength) {
    for (std::size_t length = 0; length < 100; ++length) {
        const std::string text = std::string(length, 'x') + "\u20AC";
        EXPECT_TRUE(isValidUtf8(text)) << length;
        EXPECT_FALSE(isValidUtf8(std::string_view(text).substr(0, text.size() - 1))) << length;
    }
}

} // namespace
} // namespace kestrelnet::text
