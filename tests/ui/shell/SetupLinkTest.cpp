// SPDX-License-Identifier: MIT
#include "ui/shell/SetupLink.h"

#include <gtest/gtest.h>

#include <ostream>

namespace kestrelnet {

namespace {

using namespace std::string_view_literals;

struct Link {
    const char* name;
    std::string_view url;
    std::optional<std::string_view> key;

    friend void PrintTo(const Link& link, std::ostream* out) { *out << link.url; }
};

constexpr auto none = std::nullopt;

const Link links[] = {
    {"ElevenCharacters", "kestrelnet://setup?key=dev_1234567", "dev_1234567"},
    {"TenCharacters", "kestrelnet://setup?key=dev_123456", none},
    {"OtherPrefix", "kestrelnet://setup?key=abc_1234567890", none},
    {"PrefixInCapitals", "kestrelnet://setup?key=DEV_1234567890", none},
    {"PrefixNotAtTheStart", "kestrelnet://setup?key=%20dev_1234567890", none},
    {"OtherHost", "kestrelnet://other?key=dev_1234567890", none},
    {"PathForm", "kestrelnet:setup?key=dev_1234567890", "dev_1234567890"},
    {"FirstKeyWithoutValue", "kestrelnet://setup?key&key=dev_1234567890", none},
    {"FirstKeyWithEmptyValue", "kestrelnet://setup?key=&key=dev_1234567890", none},
    {"FirstKeyTooShort", "kestrelnet://setup?key=dev_1&key=dev_1234567890", none},
    {"SecondKeyIgnored", "kestrelnet://setup?key=dev_1234567890&key=x", "dev_1234567890"},
    {"SchemeInCapitals", "KESTRELNET://setup?key=dev_1234567890", none},
    {"SchemeCapitalised", "Kestrelnet://setup?key=dev_1234567890", none},
    {"OtherScheme", "https://setup?key=dev_1234567890", none},
    {"LongerScheme", "kestrelnets://setup?key=dev_1234567890", none},
    {"EscapedScheme", "%6Bestrelnet://setup?key=dev_1234567890", none},
    {"NoScheme", "//setup?key=dev_1234567890", none},
    {"SchemeAlone", "kestrelnet", none},
    {"SchemeAndColon", "kestrelnet:", none},
    {"Empty", "", none},
    {"SpaceBefore", " kestrelnet://setup?key=dev_1234567890", none},
    {"LineFeedAfter", "kestrelnet://setup?key=dev_1234567890\n", none},
    {"HostInCapitals", "kestrelnet://SETUP?key=dev_1234567890", none},
    {"LongerHost", "kestrelnet://setup.example?key=dev_1234567890", none},
    {"EscapedHost", "kestrelnet://s%65tup?key=dev_1234567890", "dev_1234567890"},
    {"HostWithPort", "kestrelnet://setup:443?key=dev_1234567890", "dev_1234567890"},
    {"HostWithEmptyPort", "kestrelnet://setup:?key=dev_1234567890", "dev_1234567890"},
    {"HostWithLargePort", "kestrelnet://setup:99999?key=dev_1234567890", "dev_1234567890"},
    {"EscapedPort", "kestrelnet://setup:%34?key=dev_1234567890", none},
    {"EscapedSlashInHost", "kestrelnet://setup%2F?key=dev_1234567890", none},
    {"HostWithUser", "kestrelnet://me:pw@setup?key=dev_1234567890", "dev_1234567890"},
    {"SetupAsUser", "kestrelnet://setup@other?key=dev_1234567890", none},
    {"TwoUsers", "kestrelnet://a@b@setup?key=dev_1234567890", none},
    {"PortNotANumber", "kestrelnet://setup:a?key=dev_1234567890", none},
    {"TwoPorts", "kestrelnet://setup:1:2?key=dev_1234567890", none},
    {"LiteralAddress", "kestrelnet://[::1]?key=dev_1234567890", none},
    {"BrokenUser", "kestrelnet://a%z@setup?key=dev_1234567890", none},
    {"HostAndSlash", "kestrelnet://setup/?key=dev_1234567890", "dev_1234567890"},
    {"HostAndPath", "kestrelnet://setup/a/b?key=dev_1234567890", "dev_1234567890"},
    {"HostAndIllegalPath", "kestrelnet://setup/a b?key=dev_1234567890", none},
    {"HostAndBracketInPath", "kestrelnet://setup/[a]?key=dev_1234567890", none},
    {"FourSlashes", "kestrelnet:////setup?key=dev_1234567890", none},
    {"EmptyHost", "kestrelnet:///setup?key=dev_1234567890", none},
    {"PathOfOtherHost", "kestrelnet://other/setup?key=dev_1234567890", none},
    {"AbsolutePath", "kestrelnet:/setup?key=dev_1234567890", none},
    {"PathAndSlash", "kestrelnet:setup/?key=dev_1234567890", none},
    {"EscapedPath", "kestrelnet:%73etup?key=dev_1234567890", "dev_1234567890"},
    {"NoQuery", "kestrelnet://setup", none},
    {"EmptyQuery", "kestrelnet://setup?", none},
    {"NoKey", "kestrelnet://setup?token=dev_1234567890", none},
    {"KeyNameInCapitals", "kestrelnet://setup?KEY=dev_1234567890", none},
    {"LongerKeyName", "kestrelnet://setup?keys=dev_1234567890", none},
    {"EscapedKeyName", "kestrelnet://setup?%6bey=dev_1234567890", "dev_1234567890"},
    {"KeyBehindOthers", "kestrelnet://setup?a=b&&c&key=dev_1234567890", "dev_1234567890"},
    {"SemicolonSeparatesNothing", "kestrelnet://setup?a=b;key=dev_1234567890", none},
    {"EqualsInValue", "kestrelnet://setup?key=dev_123=567", "dev_123=567"},
    {"QuestionMarkInValue", "kestrelnet://setup?key=dev_12345?7", "dev_12345?7"},
    {"PlusStaysPlus", "kestrelnet://setup?key=dev_123+567", "dev_123+567"},
    {"EscapedSpaceStays", "kestrelnet://setup?key=dev_1234567%20", "dev_1234567 "},
    {"EscapedDelimiters", "kestrelnet://setup?key=dev_%26%3D%23%25567", "dev_&=#%567"},
    {"DecodedOnlyOnce", "kestrelnet://setup?key=dev_%252534567", "dev_%2534567"},
    {"EscapedPrefix", "kestrelnet://setup?key=%64ev_1234567", "dev_1234567"},
    {"EscapesInBothCases", "kestrelnet://setup?key=dev_%c3%A9123456", "dev_\u00e9123456"},
    {"TenCharactersOfMoreBytes", "kestrelnet://setup?key=dev_12345%C3%A9", none},
    {"CombiningMarkIsNoCharacter", "kestrelnet://setup?key=dev_12345e%CC%81", none},
    {"EscapedNul", "kestrelnet://setup?key=dev_1234567%00", "dev_1234567\0"sv},
    {"EscapeCutShort", "kestrelnet://setup?key=dev_1234567%4", none},
    {"EscapeNotHexadecimal", "kestrelnet://setup?key=dev_1234567%g1", none},
    {"EscapeBrokenElsewhere", "kestrelnet://setup?key=dev_1234567&a=%", none},
    {"EscapesThatAreNotUtf8", "kestrelnet://setup?key=dev_1234567%ff", none},
    {"SurrogateInUtf8", "kestrelnet://setup?key=dev_1234567%ED%A0%80", none},
    {"NameThatIsNotUtf8", "kestrelnet://setup?%ff=a&key=dev_1234567", "dev_1234567"},
    {"SpaceInValue", "kestrelnet://setup?key=dev_1234567 8", none},
    {"LetterOutsideAscii", "kestrelnet://setup?key=dev_1234567\u00e9", none},
    {"NulInside", "kestrelnet://setup?key=dev_1234567\0"sv, none},
    {"IllegalPunctuation", "kestrelnet://setup?key=dev_1234567|", none},
    {"BracketInQuery", "kestrelnet://setup?key[]=a&key=dev_1234567", none},
    {"FragmentIsCut", "kestrelnet://setup?key=dev_1234567#890", "dev_1234567"},
    {"FragmentBeforeQuery", "kestrelnet://setup#?key=dev_1234567", none},
    {"FragmentLeavesTooLittle", "kestrelnet://setup?key=dev_123456#7890", none},
    {"IllegalFragment", "kestrelnet://setup?key=dev_1234567#a#b", none},
};

class SetupLinkTest : public testing::TestWithParam<Link> {};

TEST_P(SetupLinkTest, deliversItsKeyOrNothing) {
    EXPECT_EQ(setupKey(GetParam().url), GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(Links, SetupLinkTest, testing::ValuesIn(links),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(SetupLinkLengthTest, aLinkOfTenMegabytesIsRead) {
    const std::string many(10'000'000, '&');
    EXPECT_EQ(setupKey("kestrelnet://setup?" + many + "key=dev_1234567"), "dev_1234567");
}

} // namespace

} // namespace kestrelnet
