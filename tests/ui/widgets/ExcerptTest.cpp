// SPDX-License-Identifier: MIT
#include "ui/widgets/Excerpt.h"

#include "platform/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrelnet {

namespace {

TEST(ExcerptTest, shortTextIsUnchanged) {
    EXPECT_EQ(excerpt(""), "");
    EXPECT_EQ(excerpt(std::string(2048, 'x')), std::string(2048, 'x'));
}

TEST(ExcerptTest, longTextKeepsItsEnds) {
    const std::string line = "begin" + std::string(100'000'000, 'x') + "end";
    const std::string shown = excerpt(line);
    EXPECT_LT(shown.size(), 2100U);
    EXPECT_THAT(shown, testing::StartsWith("begin"));
    EXPECT_THAT(shown, testing::HasSubstr("\u2026"));
    EXPECT_THAT(shown, testing::EndsWith("end"));
}

TEST(ExcerptTest, charactersAreNotSplit) {
    for (std::size_t offset = 0; offset < 4; ++offset) {
        std::string line(offset, 'x');
        for (int i = 0; i < 1000; ++i) {
            line += "\U0001F600";
        }
        EXPECT_TRUE(text::isValidUtf8(excerpt(line))) << offset;
    }
}

} // namespace

} // namespace kestrelnet
