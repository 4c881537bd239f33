// SPDX-License-Identifier: MIT
// Compares the product's names that scripts, build files, resources and the privileged programs
// spell out with the constants of core.
#include "core/Product.h"
#include "core/RunFiles.h"
#include "core/SettingsKeys.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

using testing::IsEmpty;

const fs::path root = KESTRELNET_SOURCE_FOLDER;

const std::string application = product::applicationIdentifier;
const std::string helperPath = product::helperPath;
const std::string helperFolder = fs::path(helperPath).parent_path().string();
const std::string helperName = fs::path(helperPath).filename().string();
const std::string quietStart = product::quietStartVariable + std::string("=1");
const std::string clientName = product::clientName;

// -- The sources -------------------------------------------------------------------------------

struct Source {
    std::string path;
    std::string text;
};

/// All text files of the source tree, but the folders that hold what is built or recorded.
std::vector<Source> allSources() {
    std::vector<Source> sources;
    for (fs::recursive_directory_iterator entry(root), end; entry != end; ++entry) {
        const std::string name = entry->path().filename().string();
        if (entry->is_directory() && (name == "build" || name == ".git" || name == "__pycache__")) {
            entry.disable_recursion_pending();
        } else if (entry->is_regular_file() && entry->path().extension() != ".png") {
            sources.push_back({entry->path().lexically_relative(root).generic_string(),
                               readFile(entry->path().string())});
        }
    }
    return sources;
}

const std::vector<Source>& sources() {
    static const std::vector<Source> read = allSources();
    return read;
}

bool isAnyOf(char character, std::string_view characters) {
    return characters.find(character) != std::string_view::npos;
}

constexpr std::string_view capitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::string_view wordCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

bool isIn(char character, std::string_view characters, std::string_view marks) {
    return isAnyOf(character, characters) || isAnyOf(character, marks);
}

/// The whole words of `text` that contain `part`. A word consists of letters, digits and `marks`,
/// without dots and hyphens at its end.
std::vector<std::string> wordsWith(std::string_view text, std::string_view part,
                                   std::string_view marks) {
    std::vector<std::string> words;
    std::size_t at = 0;
    while ((at = text.find(part, at)) != std::string_view::npos) {
        std::size_t begin = at;
        while (begin > 0 && isIn(text[begin - 1], wordCharacters, marks)) {
            --begin;
        }
        if (begin > 0 && text[begin - 1] == '\\') {
            // The first letter belongs to an escape sequence.
            ++begin;
        }
        std::size_t end = at + part.size();
        while (end < text.size() && isIn(text[end], wordCharacters, marks)) {
            ++end;
        }
        at = end;
        while (end > begin && isAnyOf(text[end - 1], ".-/")) {
            --end;
        }
        words.emplace_back(text.substr(begin, end - begin));
    }
    return words;
}

/// The words with `part` in all sources below one of `folders` that `isKnown` rejects, as
/// "FILE: WORD".
std::vector<std::string> unknownWords(std::string_view part, std::string_view marks,
                                      const std::function<bool(const std::string&)>& isKnown,
                                      const std::vector<std::string_view>& folders = {""}) {
    std::vector<std::string> unknown;
    std::size_t count = 0;
    for (const Source& source : sources()) {
        const bool isIncluded =
            std::any_of(folders.begin(), folders.end(),
                        [&](std::string_view folder) { return source.path.starts_with(folder); });
        // This file contains parts of names.
        if (!isIncluded || source.path == "tests/core/ProductNamesTest.cpp") {
            continue;
        }
        for (const std::string& word : wordsWith(source.text, part, marks)) {
            ++count;
            if (!isKnown(word)) {
                unknown.push_back(source.path + ": " + word);
            }
        }
    }
    EXPECT_GT(count, 0U) << part;
    return unknown;
}

// -- Names that occur anywhere -----------------------------------------------------------------

/// Whether `word` is an identifier, or the name of a file, an icon or an action that begins with
/// one.
bool isKnownIdentifier(const std::string& word) {
    static const std::set<std::string> known = [] {
        std::set<std::string> names{helperName, helperName + ".XXXXXX",
                                    // As the kernel cuts it off in a process's status.
                                    helperName.substr(0, 15)};
        for (const char* ending :
             {"", ".conf", ".desktop", ".metainfo.xml", ".metainfo.xml.in", ".plist", ".policy",
              ".policy.in", ".service", ".svg", ".connect", ".install-helper", ".remove-helper",
              ".run-as-root", "-symbolic", "-symbolic.svg", "-connected-symbolic",
              "-disconnected-symbolic", "-disconnected-symbolic.svg"}) {
            names.insert(application + ending);
        }
        return names;
    }();
    // A hidden file, when the name begins with a dot.
    return known.contains(word.starts_with('.') ? word.substr(1) : word);
}

TEST(ProductNamesTest, findsWordsInText) {
    EXPECT_THAT(wordsWith("a com.x.app, \"com.x.tunnel.\" (com.x)", "com.x", "."),
                testing::ElementsAre("com.x.app", "com.x.tunnel", "com.x"));
    EXPECT_THAT(wordsWith("/a/com/x/b -I", "com/x", "/"), testing::ElementsAre("/a/com/x/b"));
    EXPECT_THAT(wordsWith("a\\ncom.x", "com.x", "."), testing::ElementsAre("com.x"));
    EXPECT_THAT(wordsWith("nothing", "com.x", "."), IsEmpty());
    EXPECT_TRUE(isKnownIdentifier(application + ".conf"));
    EXPECT_FALSE(isKnownIdentifier(application + "s"));
}

// Each half of the name is looked for, so a wrong letter in one half is found by the other.
TEST(ProductNamesTest, everyIdentifierIsOneOfCore) {
    EXPECT_THAT(unknownWords("com.kestrel", ".-", isKnownIdentifier), IsEmpty());
    EXPECT_THAT(unknownWords("netvpn.", ".-", isKnownIdentifier), IsEmpty());
}

TEST(ProductNamesTest, everyObjectPathIsThatOfTheApplication) {
    std::string path = '/' + application;
    std::replace(path.begin(), path.end(), '.', '/');
    const auto isKnown = [&](const std::string& word) {
        // The second one is an object of the tests.
        return word == path || word == "/com/kestrelnetvpn/test/AuthenticationAgent";
    };
    EXPECT_THAT(unknownWords("com/kestrel", "/.", isKnown), IsEmpty());
    EXPECT_THAT(unknownWords("netvpn/", "/.", isKnown), IsEmpty());
}

TEST(ProductNamesTest, everyPathOfTheHelpersFolderIsAKnownFile) {
    const auto isKnown = [](const std::string& word) {
        return word.ends_with(helperFolder) || word.ends_with(helperPath) ||
               word.ends_with(helperFolder + '/' + clientName);
    };
    EXPECT_THAT(unknownWords("/Privileged", "/.-", isKnown), IsEmpty());
    EXPECT_THAT(unknownWords("HelperTools", "/.-", isKnown), IsEmpty());
}

TEST(ProductNamesTest, everyFileNameOfTheProductIsKnown) {
    static const std::set<std::string> known{
        clientName,
        clientName + ".cpp",
        runFiles::launcher,
        runFiles::outputPipe,
        "kestrelnet-run",
        "kestrelnet-run.cpp",
        // The sender of the system log's records.
        "kestrelnet-helper",
        // A D-Bus connection, and a certificate of the demonstration.
        "kestrelnet-session-bus",
        "kestrelnet-demonstration.pem",
        // The packages of the clients, and their files beside the helper's copy.
        "kestrelnet-client-openvpn",
        "kestrelnet-client-wireguard",
        ".kestrelnet-client.XXXXXX",
        ".kestrelnet-client.update",
    };
    const std::vector<std::string_view> folders{"clients",
                                                "core",
                                                "debian",
                                                "demo",
                                                "packaging",
                                                "platform",
                                                "privileged",
                                                "resources",
                                                "scripts/install-helper.sh",
                                                "scripts/run",
                                                "scripts/sandbox",
                                                "system",
                                                "tests/core",
                                                "tests/support/desktop",
                                                "ui"};
    EXPECT_THAT(unknownWords(
                    "kestrelnet-", ".-",
                    [](const std::string& word) { return known.contains(word); }, folders),
                IsEmpty());
}

TEST(ProductNamesTest, everyVariableOfTheClientIsKnown) {
    const auto isKnown = [](const std::string& word) {
        return word == product::keyVariable || word == product::authURLVariable ||
               word == product::relayAddressVariable ||
               // The variables of the build.
               word == std::string("KESTRELNET_") + product::authURLVariable ||
               word == std::string("KESTRELNET_") + product::relayAddressVariable ||
               // Names of the X server's library.
               word.starts_with("XCB_");
    };
    for (const char* part : {"DEVICE_", "API_KEY", "AUTH_URL", "RELAY_", "LAY_ADDR"}) {
        const auto isCapital = [](const std::string& word) {
            return std::all_of(word.begin(), word.end(),
                               [](char c) { return c == '_' || isAnyOf(c, capitals); });
        };
        EXPECT_THAT(unknownWords(
                        part, "_",
                        [&](const std::string& word) { return isKnown(word) || !isCapital(word); }),
                    IsEmpty());
    }
}

TEST(ProductNamesTest, everyKeyOfTheSettingsIsKnown) {
    const auto isKnown = [](const std::string& word) {
        return word == settings::apiKey || word == settings::autoConnect ||
               word == settings::startAtLogin;
    };
    const std::vector<std::string_view> folders{
        "benchmarks", "core",          "demo",          "packaging",     "scripts",      "system",
        "tests/core", "tests/desktop", "tests/package", "tests/support", "tests/system", "tests/ui",
        "ui"};
    for (const char* part : {"kestrelnet_api", "net_api_key", "kestrelnet_auto", "net_auto_connect",
                             "kestrelnet_start", "net_start_at_login"}) {
        EXPECT_THAT(unknownWords(part, "_", isKnown, folders), IsEmpty()) << part;
    }
}

// -- Names that must occur ---------------------------------------------------------------------

struct Spelling {
    std::string path;
    /// Found in the file as they are.
    std::vector<std::string> texts;
};

// A misspelling that no search above recognises leaves the right spelling missing.
TEST(ProductNamesTest, theOtherPlacesSpellTheNamesAsCoreDoes) {
    const std::string variables = std::string("\"") + product::keyVariable + "\", \"" +
                                  product::authURLVariable + "\", \"" +
                                  product::relayAddressVariable + '"';
    const std::string userClient =
        std::string("$home/") + product::userFolderName + '/' + clientName;
    const std::vector<Spelling> spellings{
        {"scripts/install-helper.sh",
         {"folder=" + helperFolder + '\n', "helper=$folder/" + helperName + '\n',
          "client=$folder/" + clientName + '\n', '=' + userClient + '\n',
          "$bundle/Contents/Resources/" + clientName + '\n',
          std::string("=") + product::systemClientPath + '\n'}},
        {"scripts/sandbox", {"helper=" + helperPath + '\n'}},
        {"privileged/Client.h", {'"' + helperFolder + '/' + clientName + '"', variables}},
        {"privileged/linux/Purpose.cpp",
         {std::string("\"") + runFiles::launcher + '"',
          std::string("\"") + runFiles::outputPipe + '"', "\"rm -f " + helperPath + '"'}},
        {"privileged/CMakeLists.txt", {"OUTPUT " + helperName + '\n'}},
        {"packaging/CMakeLists.txt", {"set(id " + application + ")"}},
        {"debian/kestrelnet.postrm",
         {"folder=" + helperFolder + '\n', "\"$folder/" + helperName + '"',
          "\"$folder/" + clientName + '"'}},
        {"packaging/kestrelnet.spec",
         {"folder=" + helperFolder + '\n', "helper=$folder/" + helperName + '\n',
          "client=$folder/" + clientName + '\n'}},
        {"packaging/macos.cmake", {"/resources/icons/" + application + ".svg"}},
        {"resources/CMakeLists.txt", {"icons/" + application + ".svg"}},
        {"resources/Info.plist.in",
         {"<key>CFBundleIdentifier</key>\n    <string>" + application + "</string>",
          "<key>CFBundleURLName</key>\n            <string>" + application + "</string>"}},
        {"resources/com.kestrelnetvpn.app.desktop", {"\nIcon=" + application + '\n'}},
        {"resources/com.kestrelnetvpn.app.service",
         {"\nName=" + application + '\n', quietStart + " /usr/bin/kestrelnet\n"}},
        {"platform/linux/standins/AutostartEntry.cpp", {'"' + quietStart + '"'}},
        {"benchmarks/quiet-desktop", {"\nexport " + quietStart + '\n'}},
        {"resources/com.kestrelnetvpn.app.metainfo.xml.in",
         {"<id>" + application + "</id>", '>' + application + ".desktop<"}},
        {"resources/com.kestrelnetvpn.app.policy.in",
         {"<icon_name>" + application + '<', "<action id=\"" + application + '.'}},
        {"resources/kestrelnet.1.in",
         {std::string(".I ") + product::systemClientPath + '\n',
          "/.config/" + application + ".conf\n", ".I " + helperFolder + '\n'}},
        {"platform/linux/CMakeLists.txt",
         {std::string("KESTRELNET_TEMPORARY_FOLDER=\"") + product::temporaryFolderName + '"',
          std::string("KESTRELNET_LAUNCHER_FILE=\"") + runFiles::launcher + '"',
          std::string("KESTRELNET_OUTPUT_FIFO=\"") + runFiles::outputPipe + '"'}},
        {"platform/linux/standins/AutostartEntry.cpp", {"Icon=" + application + "\\n"}},
        {"ui/shell/StatusBarIcon.cpp", {'"' + application + "-connected-symbolic\""}},
        {"ui/shell/ApplicationIcon.cpp", {":/icons/" + application + ".svg"}},
        {"demo/CMakeLists.txt", {"OUTPUT_NAME " + clientName + '\n'}},
        {"demo/kestrelnet-client.cpp", {variables}},
        {"tests/support/desktop/program.py", {'"' + clientName + '"'}},
        {"tests/support/desktop/files.py",
         {"autostart/" + application + ".desktop", '"' + application + ".conf\""}},
        {"demo/walk", {'"' + helperPath + '"'}},
    };
    for (const auto& [path, texts] : spellings) {
        const std::string file = readFile((root / path).string());
        for (const std::string& text : texts) {
            EXPECT_NE(file.find(text), std::string::npos)
                << path << " does not contain " << testing::PrintToString(text);
        }
    }
}

} // namespace
} // namespace kestrelnet
