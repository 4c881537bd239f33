// SPDX-License-Identifier: MIT
#include "system/ShellStartup.h"

#include <gtest/gtest.h>

namespace kestrelnet {
namespace {

using namespace std::string_literals;

TEST(ShellStartupTest, removesTheLineThatAddsTheFolderAndKeepsTheRest) {
    EXPECT_EQ(withoutOwnLines("alias l=ls\nexport PATH=\"$HOME/.kestrelnet:$PATH\"\nset -o vi\n"),
              "alias l=ls\nset -o vi\n");
}

TEST(ShellStartupTest, keepsATextWithoutSuchALine) {
    for (const std::string& text :
         {""s, "\n"s, "\n\n"s, "a"s, "a\n"s, "a\n\n\nb"s, "kestrelnet\n"s, ".KestrelNet\n"s,
          ". kestrelnet\n"s, "a\r\nb\r\n"s, "a\0b\n"s, "\xEF\xBB\xBF# \u00E9\n"s}) {
        EXPECT_EQ(withoutOwnLines(text), text);
    }
}

TEST(ShellStartupTest, theNameMayBeAnywhereInALine) {
    for (const char* line : {".kestrelnet", "~/.kestrelnet-old/x", "x.kestrelnetwork",
                             "# about .kestrelnet", "\t.kestrelnet", "\xC3\xA9.kestrelnet"}) {
        EXPECT_EQ(withoutOwnLines("a\n"s + line + "\nb\n"), "a\nb\n") << line;
    }
}

TEST(ShellStartupTest, removesLinesAtBothEnds) {
    EXPECT_EQ(withoutOwnLines(".kestrelnet\na\n"), "a\n");
    EXPECT_EQ(withoutOwnLines("a\n.kestrelnet"), "a");
    EXPECT_EQ(withoutOwnLines("a\n.kestrelnet\n"), "a\n");
    EXPECT_EQ(withoutOwnLines(".kestrelnet\n"), "");
    EXPECT_EQ(withoutOwnLines(".kestrelnet"), "");
    EXPECT_EQ(withoutOwnLines("\n.kestrelnet\n"), "\n");
}

TEST(ShellStartupTest, removesEverySuchLine) {
    EXPECT_EQ(withoutOwnLines(".kestrelnet\na\n.kestrelnet\n.kestrelnet\nb\n"), "a\nb\n");
}

TEST(ShellStartupTest, onlyALineFeedEndsALine) {
    EXPECT_EQ(withoutOwnLines("a\r\n.kestrelnet\r\nb\r\n"), "a\r\nb\r\n");
    EXPECT_EQ(withoutOwnLines("a\r.kestrelnet\rb\r"), "");
    EXPECT_EQ(withoutOwnLines("a\u2028.kestrelnet\nb"), "b");
}

TEST(ShellStartupTest, aHugeTextIsHandled) {
    const std::string block(1'000'000, 'x');
    std::string text;
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        text += block + "\n" + (i % 2 == 0 ? ".kestrelnet\n" : "");
        expected += block + "\n";
    }
    EXPECT_TRUE(withoutOwnLines(text) == expected);
}

} // namespace
} // namespace kestrelnet
