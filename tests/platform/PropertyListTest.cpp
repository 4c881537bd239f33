// SPDX-License-Identifier: MIT
#include "platform/PropertyList.h"

#include "platform/Bundle.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrelnet {
namespace {

using propertyList::Array;
using propertyList::Dictionary;
using propertyList::Other;
using propertyList::Value;
using testing::HasSubstr;
using testing::StartsWith;

std::string plist(const std::string& content) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">)" +
           content + "</plist>";
}

Value parsed(const std::string& content) {
    const auto result = propertyList::parse(plist(content));
    const auto* const error = std::get_if<Error>(&result);
    EXPECT_EQ(error, nullptr) << content << ": " << error->description;
    return error == nullptr ? std::get<Value>(result) : Value{};
}

/// The reason why `text` is refused; empty if it is accepted.
std::string refusal(const std::string& text) {
    const auto result = propertyList::parse(text);
    const auto* const error = std::get_if<Error>(&result);
    return error != nullptr ? error->description : "";
}

TEST(PropertyListTest, readsEachKindOfValue) {
    EXPECT_EQ(parsed("<string>text</string>"), Value{"text"});
    EXPECT_EQ(parsed("<string/>"), Value{""});
    EXPECT_EQ(parsed("<true/>"), Value{true});
    EXPECT_EQ(parsed("<false/>"), Value{false});
    EXPECT_EQ(parsed("<array/>"), Value{Array{}});
    EXPECT_EQ(parsed("<dict/>"), Value{Dictionary{}});
    for (const char* other : {"<integer>1</integer>", "<real>1.5</real>", "<data>AA==</data>",
                              "<date>2026-01-01T00:00:00Z</date>"}) {
        EXPECT_EQ(parsed(other), Value{Other{}}) << other;
    }
}

TEST(PropertyListTest, readsNestedValues) {
    EXPECT_EQ(
        parsed(" <dict> <key>a</key> <array> <string>1</string> <true/> </array>\n"
               "<key>b</key><dict><key>c</key><string>d</string></dict></dict> "),
        (Value{Dictionary{{"a", {Array{{"1"}, {true}}}}, {"b", {Dictionary{{"c", {"d"}}}}}}}));
}

TEST(PropertyListTest, decodesText) {
    EXPECT_EQ(parsed("<string> a &amp; &lt;b&gt; &#233; <![CDATA[<c>]]><!-- d --> </string>"),
              Value{" a & <b> \u00E9 <c> "});
    EXPECT_EQ(parsed("<string>\u00E9\U0001F600</string>"), Value{"\u00E9\U0001F600"});
}

TEST(PropertyListTest, findsTheValueOfAKey) {
    const Value value = parsed("<dict><key>a</key><string>1</string><key>a</key><true/></dict>");
    ASSERT_NE(value.at("a"), nullptr);
    EXPECT_NE(value.at("a")->boolean(), nullptr);
    EXPECT_EQ(value.at("a")->text(), nullptr);
    EXPECT_EQ(value.at("b"), nullptr);
    EXPECT_EQ(Value{"text"}.at("a"), nullptr);
}

TEST(PropertyListTest, refusesTextThatIsNoPropertyList) {
    for (const std::string& text :
         {std::string(), std::string("text"), std::string("<html/>"), std::string(100, '\0'),
          plist(""), plist("<string>a</string><string>b</string>"), plist("text"),
          plist("<dict><string>a</string></dict>"), plist("<dict><key>a</key></dict>"),
          plist("<dict><key>a</key><key>b</key></dict>"), plist("<array><key>a</key></array>"),
          plist("<string><b/></string>"), plist("<set/>"), plist("<dict>"), plist("<true/>") + "x",
          plist("<true/>") + "<plist/>", plist("<string>\xFF</string>")}) {
        EXPECT_NE(refusal(text), "") << text;
    }
}

TEST(PropertyListTest, reportsTheLineOfAnUnescapedAmpersand) {
    EXPECT_THAT(refusal(plist("\n<string>R&D</string>")), StartsWith("line 4: "));
    EXPECT_THAT(refusal(plist("<string>a<b</string>")), StartsWith("line 3: "));
}

TEST(PropertyListTest, readsThirtyTwoLevelsOfNesting) {
    const auto nested = [](int levels) {
        std::string opened;
        std::string closed;
        for (int i = 0; i < levels; ++i) {
            opened += "<array>";
            closed += "</array>";
        }
        return plist(opened + "<true/>" + closed);
    };
    EXPECT_EQ(refusal(nested(32)), "");
    EXPECT_THAT(refusal(nested(33)), HasSubstr("too many"));
    EXPECT_THAT(refusal(nested(60'000)), HasSubstr("too many"));
}

TEST(PropertyListTest, refusesMoreThanOneMebibyte) {
    const std::size_t room = 1024UL * 1024 - plist("<string></string>").size();
    EXPECT_EQ(refusal(plist("<string>" + std::string(room, 'x') + "</string>")), "");
    EXPECT_THAT(refusal(plist("<string>" + std::string(room + 1, 'x') + "</string>")),
                HasSubstr("longer"));
}

TEST(PropertyListTest, refusesEntitiesThatExpandWithoutLimit) {
    std::string text = "<!DOCTYPE plist [<!ENTITY a0 \"xxxxxxxxxx\">";
    for (int i = 1; i < 10; ++i) {
        const std::string before = "&a" + std::to_string(i - 1) + ";";
        text += "<!ENTITY a" + std::to_string(i) + " \"";
        for (int copy = 0; copy < 10; ++copy) {
            text += before;
        }
        text += "\">";
    }
    EXPECT_NE(refusal(text + "]><plist><string>&a9;</string></plist>"), "");
}

class BundleVersionTest : public testing::Test {
  protected:
    std::optional<std::string> version(const std::string& info) const {
        folder.write("Contents/Info.plist", info);
        return bundle::shortVersionString(folder.path());
    }

    TemporaryFolder folder;
};

TEST_F(BundleVersionTest, isReadFromTheBundle) {
    EXPECT_EQ(version(plist("<dict><key>CFBundleShortVersionString</key>"
                            "<string>1.2.3</string></dict>")),
              "1.2.3");
}

TEST_F(BundleVersionTest, isNothingIfItIsMissingOrNotText) {
    EXPECT_EQ(bundle::shortVersionString(folder.path()), std::nullopt);
    for (const char* info : {"<dict/>",
                             "<dict><key>CFBundleShortVersionString</key>"
                             "<integer>1</integer></dict>",
                             "<string>1</string>"}) {
        EXPECT_EQ(version(plist(info)), std::nullopt) << info;
    }
    EXPECT_EQ(version("1.2.3"), std::nullopt);
}

TEST(BuiltBundleTest, containsItsVersionAndItsScheme) {
    EXPECT_EQ(bundle::shortVersionString(KESTRELNET_BUNDLE), KESTRELNET_VERSION);
    const auto result = propertyList::parse(readFile(KESTRELNET_BUNDLE "/Contents/Info.plist"));
    ASSERT_TRUE(std::holds_alternative<Value>(result)) << std::get<Error>(result).description;
    const auto& info = std::get<Value>(result);
    EXPECT_EQ(*info.at("CFBundleIdentifier")->text(), "com.kestrelnetvpn.app");
    EXPECT_TRUE(*info.at("LSUIElement")->boolean());
    const Value& urls = info.at("CFBundleURLTypes")->array()->front();
    EXPECT_EQ(*urls.at("CFBundleURLSchemes")->array()->front().text(), "kestrelnet");
}

} // namespace
} // namespace kestrelnet
