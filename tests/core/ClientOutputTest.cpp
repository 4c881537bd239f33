// SPDX-License-Identifier: MIT
#include "core/ClientOutput.h"

#include "tests/support/Random.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

namespace kestrelnet {
namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct GroupCase {
    std::string_view line;
    MarkerGroup group;
};

constexpr std::array groupCases{
    GroupCase{"Full-tunnel: default route set", MarkerGroup::routes},
    GroupCase{"[info] Split-tunnel routes: 3", MarkerGroup::routes},
    GroupCase{"applied routes", MarkerGroup::routes},
    GroupCase{"calling setup_routing()", MarkerGroup::routes},
    GroupCase{"Direct connection established", MarkerGroup::relay},
    GroupCase{"2026 Connected to relay 192.0.2.1", MarkerGroup::relay},
    GroupCase{"Reconnecting", MarkerGroup::reconnect},
    GroupCase{"Network changed, probing", MarkerGroup::reconnect},
    GroupCase{"an error", MarkerGroup::error},
    GroupCase{"Error: no", MarkerGroup::error},
    GroupCase{"handshake failed", MarkerGroup::error},
    GroupCase{"terrors", MarkerGroup::error},
    GroupCase{"Discovered home server: lisbon", MarkerGroup::server},
    GroupCase{"server:", MarkerGroup::server},
    GroupCase{"DNS server:192.0.2.53", MarkerGroup::server},
    // The earliest group decides.
    GroupCase{"applied routes after an error", MarkerGroup::routes},
    GroupCase{"error: applied routes", MarkerGroup::routes},
    GroupCase{"Reconnecting: Connected to relay", MarkerGroup::relay},
    GroupCase{"error, Network changed", MarkerGroup::reconnect},
    GroupCase{"failed server: lisbon", MarkerGroup::error},
    // No group.
    GroupCase{"", MarkerGroup::none},
    GroupCase{"connected to relay", MarkerGroup::none},
    GroupCase{"CONNECTED TO RELAY", MarkerGroup::none},
    GroupCase{"ERROR", MarkerGroup::none},
    GroupCase{"Failed", MarkerGroup::none},
    GroupCase{"FAILED", MarkerGroup::none},
    GroupCase{"full-tunnel:", MarkerGroup::none},
    GroupCase{"Full-tunnel :", MarkerGroup::none},
    GroupCase{"Split-tunnel  routes:", MarkerGroup::none},
    GroupCase{"reconnecting", MarkerGroup::none},
    GroupCase{"Server:", MarkerGroup::none},
    GroupCase{"server :", MarkerGroup::none},
    GroupCase{"a\0b applied routes"sv, MarkerGroup::routes},
};

TEST(MarkerGroupTest, isTheFirstGroupWithAMarkerInTheLine) {
    for (const auto& [line, group] : groupCases) {
        EXPECT_EQ(markerGroup(line), group) << line;
    }
}

struct LocationCase {
    std::string_view line;
    std::optional<std::string_view> location;
};

constexpr std::array locationCases{
    LocationCase{"Discovered home server: lisbon (198.51.100.7)", "lisbon"},
    LocationCase{"Discovered home server: lisbon", "lisbon"},
    LocationCase{"server: a", "a"},
    LocationCase{"server: one server: two", "one"},
    LocationCase{"server: s\xC3\xA3o-paulo x", "s\xC3\xA3o-paulo"},
    LocationCase{"server: tab\there", "tab\there"},
    LocationCase{"server:none server: some", "some"},
    LocationCase{"Discovered home server:  lisbon", ""},
    LocationCase{"server: ", ""},
    LocationCase{"server:", std::nullopt},
    LocationCase{"server:lisbon", std::nullopt},
    LocationCase{"server:\tlisbon", std::nullopt},
    LocationCase{"Server: lisbon", std::nullopt},
    LocationCase{"", std::nullopt},
};

TEST(ServerLocationTest, isTheWordAfterTheFirstPrefix) {
    for (const auto& [line, location] : locationCases) {
        EXPECT_EQ(serverLocation(line), location) << line;
    }
}

std::vector<std::string> linesOf(std::string_view chunk) {
    std::vector<std::string> lines;
    forEachLine(chunk, [&lines](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

TEST(ForEachLineTest, visitsTheNonEmptyPiecesInOrder) {
    EXPECT_THAT(linesOf(""), IsEmpty());
    EXPECT_THAT(linesOf("\n"), IsEmpty());
    EXPECT_THAT(linesOf("\n\n\n"), IsEmpty());
    EXPECT_THAT(linesOf("one"), ElementsAre("one"));
    EXPECT_THAT(linesOf("one\n"), ElementsAre("one"));
    EXPECT_THAT(linesOf("one\n\ntwo\n"), ElementsAre("one", "two"));
    EXPECT_THAT(linesOf("\none"), ElementsAre("one"));
    EXPECT_THAT(linesOf("one\ntw"), ElementsAre("one", "tw"));
}

TEST(ForEachLineTest, removesNothingElse) {
    EXPECT_THAT(linesOf("  one \t\r\n \n"), ElementsAre("  one \t\r", " "));
    EXPECT_THAT(linesOf("a\0b\n"sv), ElementsAre(std::string("a\0b", 3)));
    EXPECT_THAT(linesOf("a\xE2\x80\xA8"
                        "b\vc\fd"),
                ElementsAre("a\xE2\x80\xA8"
                            "b\vc\fd"));
}

std::vector<std::string> numbers(int first, int last) {
    std::vector<std::string> texts;
    for (int number = first; number <= last; ++number) {
        texts.push_back(std::to_string(number));
    }
    return texts;
}

/// Ordinary lines, and in some a marker or something like it, at any place.
std::string chunkWithMarkers(std::mt19937& random) {
    const auto draw = [&random](std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(0, most)(random);
    };
    std::string chunk;
    for (std::size_t lines = draw(40); lines > 0; --lines) {
        chunk += std::string(draw(150), "ae or"[draw(4)]);
        if (draw(3) == 0) {
            chunk += groupCases[draw(groupCases.size() - 1)].line;
        }
        chunk += std::string(draw(90), 'x') + (draw(9) == 0 ? "\n\n" : "\n");
    }
    return chunk.substr(0, chunk.size() - std::min(chunk.size(), draw(2)));
}

TEST(MarkerSearchTest, findsTheGroupOfEachLineOfAChunk) {
    std::mt19937 random = seededGenerator();
    std::size_t found = 0;
    for (int round = 0; round < 2000; ++round) {
        const std::string chunk = chunkWithMarkers(random);
        MarkerSearch search(chunk);
        forEachLine(chunk, [&](std::string_view line) {
            const MarkerGroup group = search.groupOf(line);
            EXPECT_EQ(group, markerGroup(line)) << testing::PrintToString(line);
            found += group != MarkerGroup::none ? 1U : 0U;
        });
    }
    EXPECT_GT(found, 1000U);
}

TEST(MarkerSearchTest, findsAMarkerAtEachPlaceOfALongLine) {
    for (std::size_t place = 0; place < 300; ++place) {
        const std::string chunk = std::string(place, 'x') + "error" + std::string(200, 'x') + '\n';
        MarkerSearch search(chunk);
        EXPECT_EQ(search.groupOf(std::string_view(chunk).substr(0, chunk.size() - 1)),
                  MarkerGroup::error)
            << place;
    }
}

TEST(RollingLogTest, keepsTheLatestLinesOldestFirst) {
    for (const int count : {0, 1, 4, 5, 6, 9, 10, 11, 1000}) {
        RollingLog log(5);
        for (const std::string& line : numbers(1, count)) {
            log.append(line);
        }
        EXPECT_EQ(log.lines(), numbers(std::max(1, count - 4), count)) << count;
    }
}

TEST(RollingLogTest, isEmptyAfterClear) {
    RollingLog log(3);
    for (const std::string& line : numbers(1, 5)) {
        log.append(line);
    }
    log.clear();
    EXPECT_THAT(log.lines(), IsEmpty());
    log.append("a");
    log.append("b");
    EXPECT_THAT(log.lines(), ElementsAre("a", "b"));
}

} // namespace
} // namespace kestrelnet
