// SPDX-License-Identifier: MIT
// Reads the include lines of the sources: which floor sees which.
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {
namespace {

using testing::IsEmpty;

const std::filesystem::path root = KESTRELNET_SOURCE_FOLDER;

struct Source {
    /// From the root of the sources, for example "platform/linux/Descriptors.cpp".
    std::string path;
    std::vector<std::string> lines;

    bool isHeader() const { return path.ends_with(".h") || path.ends_with(".h.in"); }
};

std::vector<Source> sourcesIn(const std::set<std::string>& folders) {
    std::vector<Source> sources;
    for (const std::string& folder : folders) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / folder)) {
            const std::set<std::string> kinds{".cpp", ".h", ".in", ".mm"};
            if (entry.is_regular_file() && kinds.contains(entry.path().extension().string())) {
                Source source{entry.path().lexically_relative(root).generic_string(), {}};
                std::istringstream text(readFile(entry.path().string()));
                for (std::string line; std::getline(text, line);) {
                    source.lines.push_back(line);
                }
                sources.push_back(std::move(source));
            }
        }
    }
    return sources;
}

struct Include {
    bool isQuoted;
    std::string path;
};

std::vector<Include> includes(const Source& source) {
    static const std::regex form(R"(^\s*#\s*include\s*([<"])([^>"]+)[>"].*)");
    std::vector<Include> found;
    for (const std::string& line : source.lines) {
        if (std::smatch match; std::regex_match(line, match, form)) {
            found.push_back({match[1] == "\"", match[2]});
        }
    }
    return found;
}

/// Includes of `folders` that are not as `isAllowed` says, as "FILE: INCLUDE".
std::vector<std::string>
offences(const std::set<std::string>& folders,
         const std::function<bool(const Source&, const Include&)>& isAllowed) {
    std::vector<std::string> found;
    const std::vector<Source> sources = sourcesIn(folders);
    EXPECT_FALSE(sources.empty());
    for (const Source& source : sources) {
        for (const Include& include : includes(source)) {
            if (!isAllowed(source, include)) {
                found.push_back(source.path + ": " + include.path);
            }
        }
    }
    return found;
}

/// Standard C++ headers have a name without a dot or a folder; so do Qt's, which begin with a Q.
bool isStandard(const Include& include) {
    return !include.isQuoted && include.path.find_first_of("./") == std::string::npos &&
           include.path.front() != 'Q';
}

bool isQt(const Include& include) {
    return !include.isQuoted && (include.path.front() == 'Q' || include.path.starts_with("qt"));
}

/// What Qt generates from the source itself.
bool isGenerated(const Source& source, const Include& include) {
    return include.path ==
           std::filesystem::path(source.path).filename().replace_extension(".moc").string();
}

bool startsWithAny(std::string_view path, const std::vector<std::string_view>& starts) {
    return std::any_of(starts.begin(), starts.end(),
                       [path](std::string_view start) { return path.starts_with(start); });
}

TEST(LayeringTest, theTestKnowsItsHeaders) {
    EXPECT_TRUE(isStandard({false, "vector"}));
    EXPECT_FALSE(isStandard({false, "unistd.h"}));
    EXPECT_FALSE(isStandard({false, "sys/wait.h"}));
    EXPECT_FALSE(isStandard({false, "QString"}));
    EXPECT_TRUE(isQt({false, "QString"}));
    EXPECT_FALSE(isQt({true, "platform/Queue.h"}));
    const Source sample{"core/X.cpp",
                        {"#include <vector>", "  # include \"core/Y.h\" // why", "x"}};
    EXPECT_EQ(includes(sample).size(), 2U);
}

TEST(LayeringTest, coreAndSystemSeeTheStandardLibraryAndThePlatformsHeadersOnly) {
    EXPECT_THAT(
        offences({"core", "system"},
                 [](const Source&, const Include& include) {
                     const bool isPlatform = include.path.starts_with("platform/") &&
                                             include.path.ends_with(".h") &&
                                             include.path.find('/', 9) == std::string::npos;
                     return isStandard(include) ||
                            (include.isQuoted &&
                             (isPlatform || startsWithAny(include.path, {"core/", "system/"})));
                 }),
        IsEmpty());
}

TEST(LayeringTest, thePlatformSeesNothingAboveItAndOfTheRootSideOnlyThePromptsHeaders) {
    EXPECT_THAT(offences({"platform"},
                         [](const Source& source, const Include& include) {
                             // The unprivileged end of the prompt speaks to the root side.
                             const bool isStandIn =
                                 source.path.starts_with("platform/linux/standins/");
                             return !include.isQuoted || include.path.starts_with("platform/") ||
                                    isGenerated(source, include) ||
                                    (isStandIn && include.path.starts_with("privileged/"));
                         }),
                IsEmpty());
}

TEST(LayeringTest, theRootSideIncludesNoOtherFloorAndNoQt) {
    EXPECT_THAT(offences({"privileged"},
                         [](const Source&, const Include& include) {
                             return include.isQuoted ? include.path.starts_with("privileged/")
                                                     : !isQt(include);
                         }),
                IsEmpty());
}

TEST(LayeringTest, nothingOfTheProductSeesTheTests) {
    EXPECT_THAT(offences({"privileged", "platform", "core", "system", "ui"},
                         [](const Source&, const Include& include) {
                             return !startsWithAny(include.path, {"tests/", "benchmarks/"});
                         }),
                IsEmpty());
}

TEST(LayeringTest, thePlatformsHeadersAreFreeOfQt) {
    EXPECT_THAT(offences({"platform"},
                         [](const Source& source, const Include& include) {
                             const bool isPublic =
                                 source.isHeader() && source.path.find('/', 9) == std::string::npos;
                             return !(isPublic && isQt(include));
                         }),
                IsEmpty());
}

/// The room of `ui/` that `path` lies in, for example "panel".
std::string roomOf(const std::string& path) {
    const std::size_t start = std::string_view("ui/").size();
    return path.substr(start, path.find('/', start) - start);
}

TEST(LayeringTest, inTheInterfaceIncludesGoFromShellToPanelAndSettingsToWidgetsToStyle) {
    const std::map<std::string, std::set<std::string>> mayInclude{
        {"shell", {"shell", "panel", "settings", "widgets", "style"}},
        {"panel", {"panel", "widgets", "style"}},
        {"settings", {"settings", "widgets", "style"}},
        {"widgets", {"widgets", "style"}},
        {"style", {"style"}},
    };
    EXPECT_THAT(offences({"ui"},
                         [&](const Source& source, const Include& include) {
                             const auto allowed = mayInclude.find(roomOf(source.path));
                             return allowed != mayInclude.end() &&
                                    (!include.path.starts_with("ui/") ||
                                     allowed->second.contains(roomOf(include.path)));
                         }),
                IsEmpty());
}

TEST(LayeringTest, theWidgetsKnowNothingOfTheTunnel) {
    EXPECT_THAT(offences({"ui/widgets"},
                         [](const Source&, const Include& include) {
                             return !startsWithAny(include.path, {"core/", "system/"});
                         }),
                IsEmpty());
}

TEST(LayeringTest, qtIsSeenInThePlatformAndInTheViewsOnly) {
    EXPECT_THAT(offences({"core", "system", "tests/core"},
                         [](const Source&, const Include& include) { return !isQt(include); }),
                IsEmpty());
}

TEST(LayeringTest, quotedIncludesStartAtTheRoot) {
    EXPECT_THAT(offences({"privileged", "platform", "core", "system", "ui", "tests", "benchmarks"},
                         [](const Source& source, const Include& include) {
                             return !include.isQuoted || isGenerated(source, include) ||
                                    include.path == "core/OperatorConfiguration.h" ||
                                    (include.path.find('/') != std::string::npos &&
                                     std::filesystem::exists(root / include.path));
                         }),
                IsEmpty());
}

TEST(LayeringTest, onlyThePlatformKnowsTheOperatingSystemAndItUsesFilesNotConditions) {
    static const std::regex condition(
        R"(^\s*#\s*(if|ifdef|ifndef|elif)\b.*(__linux|__APPLE|__unix|_WIN32|__FreeBSD|Q_OS_|TARGET_OS).*)");
    std::vector<std::string> found;
    for (const Source& source : sourcesIn({"privileged", "platform", "core", "system", "ui"})) {
        for (const std::string& line : source.lines) {
            if (std::regex_match(line, condition)) {
                found.push_back(source.path + ": " + line);
            }
        }
    }
    EXPECT_THAT(found, IsEmpty());
}

TEST(LayeringTest, everySourceOpensWithItsLicence) {
    std::vector<std::string> found;
    for (const Source& source :
         sourcesIn({"privileged", "platform", "core", "system", "ui", "tests", "benchmarks"})) {
        if (source.lines.empty() || source.lines.front() != "// SPDX-License-Identifier: MIT") {
            found.push_back(source.path);
        }
    }
    EXPECT_THAT(found, IsEmpty());
}

} // namespace
} // namespace kestrelnet
