// SPDX-License-Identifier: MIT
// Compares docs/client.md, the page that authors of clients read, with the sources: the markers and
// what they do, and the times and sizes.
#include "core/ClientOutput.h"
#include "core/TunnelStatus.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::string root = KESTRELNET_SOURCE_FOLDER;

std::string source(const std::string& path) {
    return readFile(root + '/' + path);
}

const std::string& page() {
    static const std::string text = source("docs/client.md");
    return text;
}

const std::map<MarkerGroup, std::string> groupNames{
    {MarkerGroup::routes, "routes"},       {MarkerGroup::relay, "relay"},
    {MarkerGroup::reconnect, "reconnect"}, {MarkerGroup::error, "error"},
    {MarkerGroup::server, "server"},       {MarkerGroup::none, "none"},
};

using GroupAndMarker = std::pair<std::string, std::string>;

/// The text between the next `begin` and `end` at or after `at`, which is moved behind it. Empty
/// when there is none.
std::string between(const std::string& text, std::string_view begin, std::string_view end,
                    std::size_t& at) {
    const std::size_t start = text.find(begin, at);
    const std::size_t stop =
        start == std::string::npos ? start : text.find(end, start + begin.size());
    if (stop == std::string::npos) {
        at = text.size();
        return {};
    }
    at = stop + end.size();
    return text.substr(start + begin.size(), stop - start - begin.size());
}

std::vector<std::string> allBetween(const std::string& text, std::string_view begin,
                                    std::string_view end) {
    std::vector<std::string> found;
    std::size_t at = 0;
    for (std::string part = between(text, begin, end, at); at < text.size() || !part.empty();
         part = between(text, begin, end, at)) {
        found.push_back(std::move(part));
    }
    return found;
}

/// The lines of the page that begin with `start`.
std::vector<std::string> linesWith(std::string_view start) {
    std::vector<std::string> found;
    forEachLine(page(), [&](std::string_view line) {
        if (line.starts_with(start)) {
            found.emplace_back(line);
        }
    });
    return found;
}

/// The rows of the table of markers, in their order.
std::vector<GroupAndMarker> markersOfThePage() {
    std::vector<GroupAndMarker> markers;
    for (const auto& [group, name] : groupNames) {
        for (const std::string& row : linesWith("| " + name + " | `")) {
            std::size_t at = row.find(" | ");
            for (const std::string& marker :
                 allBetween(row.substr(0, row.find(" | ", at + 3)), "`", "`")) {
                markers.emplace_back(name, marker);
            }
        }
    }
    return markers;
}

std::vector<GroupAndMarker> markersOfTheCode() {
    std::vector<GroupAndMarker> markers;
    for (const std::string& entry :
         allBetween(source("core/ClientOutput.cpp"), "Marker{MarkerGroup::", "\"}")) {
        const std::size_t end = entry.find(", \"");
        markers.emplace_back(entry.substr(0, end), entry.substr(end + 3));
    }
    return markers;
}

TEST(ClientContractTest, thePageListsTheMarkersInTheOrderOfTheCode) {
    EXPECT_THAT(markersOfTheCode(), Not(IsEmpty()));
    EXPECT_THAT(markersOfThePage(), ElementsAreArray(markersOfTheCode()));
}

TEST(ClientContractTest, eachMarkerSelectsItsGroupAnywhereInALine) {
    for (const auto& [name, marker] : markersOfThePage()) {
        EXPECT_EQ(groupNames.at(markerGroup("x " + marker + " x")), name) << marker;
    }
}

TEST(ClientContractTest, thePageNamesEveryState) {
    for (const TunnelStatus status :
         {TunnelStatus::disconnected, TunnelStatus::connecting, TunnelStatus::connected,
          TunnelStatus::reconnecting, TunnelStatus::error}) {
        EXPECT_THAT(page(), HasSubstr(std::string(rawValue(status))));
    }
}

TEST(ClientContractTest, theExampleIsAStartThatConnects) {
    std::size_t at = 0;
    const std::string example = between(page(), "```\n", "```", at);
    std::vector<std::string> groups;
    std::string server;
    forEachLine(example, [&](std::string_view line) {
        groups.push_back(groupNames.at(markerGroup(line)));
        if (const auto name = serverLocation(line)) {
            server = *name;
        }
    });
    EXPECT_THAT(groups, testing::ElementsAre("server", "relay", "routes"));
    EXPECT_EQ(server, "Zurich");
}

TEST(ClientContractTest, theNameOfTheServerIsReadAsThePageSays) {
    EXPECT_EQ(serverLocation("server:x"), std::nullopt);
    EXPECT_EQ(serverLocation("server:  x"), "");
    EXPECT_EQ(serverLocation("server: x (y)"), "x");
}

// -- Times and sizes ---------------------------------------------------------------------------

struct Fact {
    const char* page;
    const char* file;
    const char* code;
};

void PrintTo(const Fact& fact, std::ostream* stream) {
    *stream << fact.page;
}

class ClientContractFactTest : public testing::TestWithParam<Fact> {};

TEST_P(ClientContractFactTest, isTheSameInPageAndCode) {
    EXPECT_THAT(page(), HasSubstr(GetParam().page));
    EXPECT_THAT(source(GetParam().file), HasSubstr(GetParam().code));
}

INSTANTIATE_TEST_SUITE_P(
    Facts, ClientContractFactTest,
    testing::Values(
        Fact{"| \"Disconnect\" | at once | 3.3 s |", "privileged/Guard.h",
             "milliseconds stop{3300}"},
        Fact{"| the application crashes or is killed | at once | 1.5 s |", "privileged/Guard.h",
             "milliseconds abandoned{1500}"},
        Fact{"the application ends 0.5 s later", "ui/shell/KestrelnetApp.cpp", "quitDelay = 500ms"},
        Fact{"the helper is removed 2.0 s later", "system/Uninstall.cpp", "disconnectDelay = 2s"},
        Fact{"up to 0.3 s later", "privileged/Guard.cpp", "lookInterval = 100ms"},
        Fact{"last 200 lines", "core/TunnelManager.h", "maxLogLines = 200"},
        Fact{"at most 65536 bytes", "platform/Pipe.cpp", "chunkSize = 65536"},
        Fact{"up to 4096 bytes each", "privileged/Client.cpp", "longestValue = 4096"},
        Fact{"at most 256 MiB", "scripts/install-helper.sh", "largest_mib=256"},
        Fact{"| open files | 1024, at most 4096 |", "privileged/linux/SystemState.cpp",
             "Limit{RLIMIT_NOFILE, kibi, 4 * kibi}"},
        Fact{"| locked memory | 8 MiB |", "privileged/linux/SystemState.cpp",
             "Limit{RLIMIT_MEMLOCK, 8 * kibi* kibi, 8 * kibi* kibi}"},
        Fact{"| core files | none |", "privileged/linux/SystemState.cpp",
             "Limit{RLIMIT_CORE, 0, 0}"},
        Fact{"| file creation mask | 022 |", "privileged/CleanState.cpp",
             "umask(S_IWGRP | S_IWOTH)"},
        Fact{"| working folder | `/` |", "privileged/CleanState.cpp", "chdir(\"/\")"},
        Fact{"`PATH` | `/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin`",
             "privileged/linux/Identity.cpp",
             "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"},
        Fact{"`HOME=/root`", "privileged/linux/Identity.cpp", "\"HOME=/root\"};"},
        Fact{"`USER=root`, `LOGNAME=root`, `LANG=C.UTF-8`, and nothing else",
             "privileged/Client.cpp",
             "fixedEntries{\"USER=root\", \"LOGNAME=root\", \"LANG=C.UTF-8\"}"},
        Fact{"`DEVICE_API_KEY`, `AUTH_URL`, `RELAY_ADDR`", "privileged/Client.h",
             "names{\"DEVICE_API_KEY\", \"AUTH_URL\", \"RELAY_ADDR\"}"},
        Fact{"and `stdbuf`", "core/PromptLaunch.cpp", "stdbuf -oL"},
        Fact{"at least 11 characters", "core/DeviceKey.cpp", "shortestKey = 11"},
        Fact{"\"VPN process exited unexpectedly\" in place of the last line",
             "core/Termination.cpp", "\"VPN process exited unexpectedly\""},
        Fact{"\"Tunnel connected, setting up routes...\"", "core/Output.cpp",
             "\"Tunnel connected, setting up routes...\""}),
    [](const auto& tested) {
        std::string name = tested.param.page;
        std::erase_if(name, [](unsigned char each) { return std::isalnum(each) == 0; });
        return name;
    });

} // namespace
} // namespace kestrelnet
