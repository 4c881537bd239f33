// SPDX-License-Identifier: MIT
// Checks the include lines of the sources: which folder may include which.
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrelnet {
namespace {

using testing::IsEmpty;

const std::filesystem::path root = KESTRELNET_SOURCE_FOLDER;

struct Source {
    /// Relative to the root of the sources, for example "platform/linux/Descriptors.cpp".
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

std::string_view withoutBlanks(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

/// What follows `name` in a preprocessor directive of that name. No value for any other line.
std::optional<std::string_view> directive(std::string_view line, std::string_view name) {
    line = withoutBlanks(line);
    if (!line.starts_with('#')) {
        return std::nullopt;
    }
    line = withoutBlanks(line.substr(1));
    if (!line.starts_with(name)) {
        return std::nullopt;
    }
    return withoutBlanks(line.substr(name.size()));
}

std::optional<Include> include(std::string_view line) {
    const auto argument = directive(line, "include");
    if (!argument || argument->find_first_of("<\"") != 0) {
        return std::nullopt;
    }
    const std::string_view path = argument->substr(1);
    return Include{argument->front() == '"',
                   std::string(path.substr(0, path.find_first_of(">\"")))};
}

std::vector<Include> includes(const Source& source) {
    std::vector<Include> found;
    for (const std::string& line : source.lines) {
        if (auto included = include(line)) {
            found.push_back(std::move(*included));
        }
    }
    return found;
}

/// Whether `line` is a preprocessor condition on the operating system.
bool isSystemCondition(std::string_view line) {
    const std::vector<std::string_view> conditions{"if", "elif"};
    const std::vector<std::string_view> macros{"__linux",   "__APPLE", "__unix",   "_WIN32",
                                               "__FreeBSD", "Q_OS_",   "TARGET_OS"};
    return std::any_of(conditions.begin(), conditions.end(), [&](std::string_view condition) {
        // "if" stands for "ifdef" and "ifndef" as well.
        const auto argument = directive(line, condition);
        return argument && std::any_of(macros.begin(), macros.end(), [&](std::string_view macro) {
                   return argument->find(macro) != std::string_view::npos;
               });
    });
}

/// The includes in `folders` that `isAllowed` rejects, as "FILE: INCLUDE".
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

/// The names of standard C++ headers contain neither a dot nor a folder. Qt's names begin with a Q.
bool isStandard(const Include& include) {
    return !include.isQuoted && include.path.find_first_of("./") == std::string::npos &&
           include.path.front() != 'Q';
}

bool isQt(const Include& include) {
    return !include.isQuoted && (include.path.front() == 'Q' || include.path.starts_with("qt"));
}

/// A file that Qt's moc generates from the source itself.
bool isGenerated(const Source& source, const Include& include) {
    return include.path ==
           std::filesystem::path(source.path).filename().replace_extension(".moc").string();
}

bool startsWithAny(std::string_view path, const std::vector<std::string_view>& starts) {
    return std::any_of(starts.begin(), starts.end(),
                       [path](std::string_view start) { return path.starts_with(start); });
}

TEST(LayeringTest, recognisesIncludesAndConditions) {
    EXPECT_TRUE(isStandard({false, "vector"}));
    EXPECT_FALSE(isStandard({false, "unistd.h"}));
    EXPECT_FALSE(isStandard({false, "sys/wait.h"}));
    EXPECT_FALSE(isStandard({false, "QString"}));
    EXPECT_TRUE(isQt({false, "QString"}));
    EXPECT_FALSE(isQt({true, "platform/Queue.h"}));
    const Source sample{"core/X.cpp",
                        {"#include <vector>", "  # include \"core/Y.h\" // why", "x"}};
    const std::vector<Include> found = includes(sample);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_FALSE(found[0].isQuoted);
    EXPECT_EQ(found[0].path, "vector");
    EXPECT_TRUE(found[1].isQuoted);
    EXPECT_EQ(found[1].path, "core/Y.h");
    EXPECT_TRUE(isSystemCondition("#ifdef __linux__"));
    EXPECT_TRUE(isSystemCondition("  # elif defined(Q_OS_MACOS)"));
    EXPECT_FALSE(isSystemCondition("#define X __linux__"));
    EXPECT_FALSE(isSystemCondition("#ifdef NDEBUG"));
    EXPECT_FALSE(isSystemCondition("// __linux__"));
}

TEST(LayeringTest, coreAndSystemIncludeOnlyTheStandardLibraryAndThePlatformHeaders) {
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

TEST(LayeringTest, thePlatformIncludesNothingAboveItAndOnlyItsStandInsIncludePrivilegedHeaders) {
    EXPECT_THAT(offences({"platform"},
                         [](const Source& source, const Include& include) {
                             // osascript communicates with the root side of the prompt.
                             const bool isStandIn =
                                 source.path.starts_with("platform/linux/standins/");
                             return !include.isQuoted || include.path.starts_with("platform/") ||
                                    isGenerated(source, include) ||
                                    (isStandIn && include.path.starts_with("privileged/"));
                         }),
                IsEmpty());
}

TEST(LayeringTest, privilegedCodeIncludesNoOtherFolderAndNoQt) {
    EXPECT_THAT(offences({"privileged"},
                         [](const Source&, const Include& include) {
                             return include.isQuoted ? include.path.starts_with("privileged/")
                                                     : !isQt(include);
                         }),
                IsEmpty());
}

TEST(LayeringTest, thePortablePrivilegedSourcesIncludeNothingOfOneSystem) {
    EXPECT_THAT(offences({"privileged"},
                         [](const Source& source, const Include& include) {
                             const std::string folder =
                                 std::filesystem::path(source.path).parent_path().string() + '/';
                             if (folder != "privileged/" && folder != "privileged/posix/") {
                                 return true;
                             }
                             if (include.isQuoted) {
                                 const std::string from =
                                     std::filesystem::path(include.path).parent_path().string();
                                 return from == "privileged" || from + '/' == folder;
                             }
                             return !startsWithAny(
                                 include.path, {"linux/", "mach/", "libproc.h", "sched.h",
                                                "sys/epoll.h", "sys/event.h", "sys/mount.h",
                                                "sys/prctl.h", "sys/signalfd.h", "sys/syscall.h"});
                         }),
                IsEmpty());
}

TEST(LayeringTest, theProductIncludesNothingOfTheTests) {
    EXPECT_THAT(offences({"privileged", "platform", "core", "system", "ui"},
                         [](const Source&, const Include& include) {
                             return !startsWithAny(include.path, {"tests/", "benchmarks/"});
                         }),
                IsEmpty());
}

TEST(LayeringTest, thePublicPlatformHeadersIncludeNoQt) {
    EXPECT_THAT(offences({"platform"},
                         [](const Source& source, const Include& include) {
                             const bool isPublic =
                                 source.isHeader() && source.path.find('/', 9) == std::string::npos;
                             return !(isPublic && isQt(include));
                         }),
                IsEmpty());
}

/// The folder of `ui/` that contains `path`, for example "panel".
std::string uiFolderOf(const std::string& path) {
    const std::size_t start = std::string_view("ui/").size();
    return path.substr(start, path.find('/', start) - start);
}

TEST(LayeringTest, uiIncludesGoFromShellToPanelAndSettingsToWidgetsToStyle) {
    const std::map<std::string, std::set<std::string>> mayInclude{
        {"shell", {"shell", "panel", "settings", "widgets", "style"}},
        {"panel", {"panel", "widgets", "style"}},
        {"settings", {"settings", "widgets", "style"}},
        {"widgets", {"widgets", "style"}},
        {"style", {"style"}},
    };
    EXPECT_THAT(offences({"ui"},
                         [&](const Source& source, const Include& include) {
                             const auto allowed = mayInclude.find(uiFolderOf(source.path));
                             return allowed != mayInclude.end() &&
                                    (!include.path.starts_with("ui/") ||
                                     allowed->second.contains(uiFolderOf(include.path)));
                         }),
                IsEmpty());
}

TEST(LayeringTest, theWidgetsIncludeNothingOfCoreAndSystem) {
    EXPECT_THAT(offences({"ui/widgets"},
                         [](const Source&, const Include& include) {
                             return !startsWithAny(include.path, {"core/", "system/"});
                         }),
                IsEmpty());
}

TEST(LayeringTest, coreAndSystemIncludeNoQt) {
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

TEST(LayeringTest, noSourceContainsAConditionOnTheOperatingSystem) {
    std::vector<std::string> found;
    for (const Source& source : sourcesIn({"privileged", "platform", "core", "system", "ui"})) {
        for (const std::string& line : source.lines) {
            if (isSystemCondition(line)) {
                found.push_back(source.path + ": " + line);
            }
        }
    }
    EXPECT_THAT(found, IsEmpty());
}

TEST(LayeringTest, everySourceBeginsWithItsLicence) {
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
