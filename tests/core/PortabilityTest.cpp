// SPDX-License-Identifier: MIT
// Checks that the sources and the scripts that macOS uses avoid what works on Linux only.
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

using testing::IsEmpty;

const fs::path root = KESTRELNET_SOURCE_FOLDER;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// -- Names that may be macros ------------------------------------------------------------------

/// Whether `line` puts "::" before a function of the C library that is a macro on macOS.
bool qualifiesMacro(const std::string& line) {
    static const std::regex qualified(
        R"(::\s*(sig(add|del|empty|fill)set|sigismember|(hton|ntoh)(s|l|ll)|alloca)\s*\()");
    return std::regex_search(line, qualified);
}

/// The sources outside the folders for Linux.
std::vector<fs::path> portableSources() {
    std::vector<fs::path> sources;
    for (const char* folder : {"core", "demo", "platform", "privileged", "system", "ui"}) {
        for (fs::recursive_directory_iterator entry(root / folder), end; entry != end; ++entry) {
            const std::set<std::string> kinds{".cpp", ".h", ".mm"};
            if (entry->is_directory() && entry->path().filename() == "linux") {
                entry.disable_recursion_pending();
            } else if (kinds.contains(entry->path().extension().string())) {
                sources.push_back(entry->path());
            }
        }
    }
    return sources;
}

TEST(PortabilityTest, recognisesQualifiedMacros) {
    EXPECT_TRUE(qualifiesMacro("    ::sigemptyset(&none);"));
    EXPECT_TRUE(qualifiesMacro("x = ::htons(port)"));
    EXPECT_FALSE(qualifiesMacro("    sigemptyset(&none);"));
    EXPECT_FALSE(qualifiesMacro("    ::sigaction(SIGCHLD, &action, nullptr);"));
}

TEST(PortabilityTest, noSourceQualifiesAFunctionThatIsAMacroOnMacOS) {
    const std::vector<fs::path> sources = portableSources();
    EXPECT_FALSE(sources.empty());
    std::vector<std::string> found;
    for (const fs::path& source : sources) {
        for (const std::string& line : linesOf(readFile(source.string()))) {
            if (qualifiesMacro(line)) {
                found.push_back(source.lexically_relative(root).generic_string() + ": " + line);
            }
        }
    }
    EXPECT_THAT(found, IsEmpty());
}

// -- The order of options ----------------------------------------------------------------------

bool endsCommand(const std::string& word) {
    return word.find_first_of("|;&)") != std::string::npos;
}

/// Whether `line` gives one of the commands below an option after an operand. Tools of the BSD
/// family take such an option for an operand.
bool hasLateOption(const std::string& line) {
    static const std::set<std::string> commands{"cat", "chgrp", "chmod", "chown", "cmp",
                                                "cp",  "head",  "ln",    "mkdir", "mktemp",
                                                "mv",  "rm",    "stat",  "wc"};
    static const std::set<std::string> optionsWithValue{"head -c", "mkdir -m", "stat -f"};
    std::string command;
    bool isValue = false;
    bool hadOperand = false;
    std::istringstream words(line);
    for (std::string word; words >> word;) {
        // "name=$(command" starts a command.
        word.erase(0, word.find("$(") == std::string::npos ? 0 : word.find("$(") + 2);
        const bool isOption = word.size() > 1 && word.front() == '-';
        if (commands.contains(word)) {
            command = word;
            isValue = hadOperand = false;
        } else if (endsCommand(word)) {
            command.clear();
        } else if (!command.empty() && isOption && hadOperand) {
            return true;
        } else if (!command.empty()) {
            hadOperand = hadOperand || !(isOption || isValue);
            isValue = optionsWithValue.contains(std::string(command).append(" ").append(word));
        }
    }
    return false;
}

TEST(PortabilityTest, recognisesOptionsAfterOperands) {
    EXPECT_TRUE(hasLateOption("chmod 4755 -- \"$file\""));
    EXPECT_TRUE(hasLateOption("    x=$(stat \"$1\" -f %u)"));
    EXPECT_TRUE(hasLateOption("rm \"$file\" -f"));
    EXPECT_TRUE(hasLateOption("mkdir -m 0755 \"$folder\" -p"));
    EXPECT_FALSE(hasLateOption("mkdir -m 0755 \"$folder\""));
    EXPECT_FALSE(hasLateOption("cat -- \"$file\" | head -c 5"));
    EXPECT_FALSE(hasLateOption("chmod \"$mode\" \"$file\" && sync"));
}

TEST(PortabilityTest, noScriptForMacOSGivesAnOptionAfterAnOperand) {
    std::vector<std::string> found;
    for (const char* script : {"scripts/install-helper.sh", ".ci/macos"}) {
        const std::vector<std::string> lines = linesOf(readFile((root / script).string()));
        EXPECT_FALSE(lines.empty()) << script;
        std::copy_if(lines.begin(), lines.end(), std::back_inserter(found), hasLateOption);
    }
    EXPECT_THAT(found, IsEmpty());
}

} // namespace
} // namespace kestrelnet
