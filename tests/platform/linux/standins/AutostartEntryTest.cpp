// SPDX-License-Identifier: MIT
#include "platform/linux/standins/AutostartEntry.h"

#include "platform/FileManager.h"
#include "system/LoginAgent.h"
#include "tests/support/ScopedVariable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrelnet {
namespace {

using testing::HasSubstr;

std::string plist(const std::string& dictionary) {
    return "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict>" + dictionary + "</dict></plist>";
}

constexpr const char* labelKey = "<key>Label</key><string>name</string>";
constexpr const char* programKey =
    "<key>ProgramArguments</key><array><string>/bin/p</string><string>x</string></array>";

std::string refusal(const std::string& text) {
    const auto result = launchAgent(text);
    const auto* const error = std::get_if<Error>(&result);
    return error != nullptr ? error->description : "";
}

/// The line of `key` in the entry of an agent with these arguments.
std::string lineOf(const std::string& key, const std::vector<std::string>& arguments) {
    const std::string entry = autostartEntry({.label = "name", .arguments = arguments});
    const std::size_t begin = entry.find("\n" + key + "=") + 1;
    return entry.substr(begin, entry.find('\n', begin) - begin);
}

TEST(LaunchAgentTest, readsTheProgramFromTheApplicationsOwnList) {
    EXPECT_EQ(std::get<LaunchAgent>(launchAgent(launchAgentText("/opt/Kestrel net"))),
              (LaunchAgent{.label = "com.kestrelnetvpn.app",
                           .arguments = {"/opt/Kestrel net/Contents/Linux/kestrelnet"},
                           .runAtLoad = true}));
}

TEST(LaunchAgentTest, aPathThatMakesTheListInvalidIsRefusedWithItsLine) {
    EXPECT_THAT(refusal(launchAgentText("/opt/R&D")), HasSubstr("line 11"));
    EXPECT_THAT(refusal(launchAgentText("/opt/<b>")), HasSubstr("line 11"));
}

TEST(LaunchAgentTest, keepsAnotherProgramUnchanged) {
    for (const auto& [more, runs] : {std::pair{"", false},
                                     {"<key>RunAtLoad</key><false/>", false},
                                     {"<key>RunAtLoad</key><true/>", true},
                                     {"<key>RunAtLoad</key><string>yes</string>", false}}) {
        EXPECT_EQ(
            std::get<LaunchAgent>(launchAgent(plist(std::string(labelKey) + programKey + more))),
            (LaunchAgent{.label = "name", .arguments = {"/bin/p", "x"}, .runAtLoad = runs}))
            << more;
    }
}

TEST(LaunchAgentTest, refusesALabelThatIsNoFileName) {
    for (const char* name : {"", ".", "..", ".hidden", "a/b", "/etc/passwd", "a\nb"}) {
        EXPECT_THAT(refusal(plist("<key>Label</key><string>" + std::string(name) + "</string>" +
                                  programKey)),
                    HasSubstr("Label"))
            << name;
    }
    EXPECT_THAT(refusal(plist(programKey)), HasSubstr("Label"));
    EXPECT_THAT(refusal(plist("<key>Label</key><true/>" + std::string(programKey))),
                HasSubstr("Label"));
}

TEST(LaunchAgentTest, refusesAListWithoutAProgram) {
    for (const char* arguments :
         {"", "<key>ProgramArguments</key><array/>",
          "<key>ProgramArguments</key><string>/p</string>",
          "<key>ProgramArguments</key><array><true/></array>",
          "<key>ProgramArguments</key><array><string>p</string></array>",
          "<key>ProgramArguments</key><array><string/></array>",
          "<key>ProgramArguments</key><array><string>/p\nExec=x</string></array>",
          R"(<key>ProgramArguments</key>
             <array><string>/usr/bin/open</string><string>-a</string><string>K</string></array>)"}) {
        EXPECT_NE(refusal(plist(labelKey + std::string(arguments))), "") << arguments;
    }
    EXPECT_NE(refusal("no list"), "");
    EXPECT_NE(refusal(""), "");
}

TEST(AutostartEntryTest, isAValidDesktopEntry) {
    EXPECT_EQ(autostartEntry({.label = "com.kestrelnetvpn.app",
                              .arguments = {"/usr/libexec/kestrelnet/Contents/Linux/kestrelnet"},
                              .runAtLoad = true}),
              "# Kestrelnet writes and removes this file as \"Start at login\" is switched.\n"
              "[Desktop Entry]\n"
              "Type=Application\n"
              "Name=Kestrelnet\n"
              "Icon=com.kestrelnetvpn.app\n"
              "Exec=/usr/bin/env KESTRELNET_QUIET_START=1 "
              "\"/usr/libexec/kestrelnet/Contents/Linux/kestrelnet\"\n"
              "TryExec=/usr/libexec/kestrelnet/Contents/Linux/kestrelnet\n"
              "Terminal=false\n"
              "X-GNOME-Autostart-enabled=true\n");
}

TEST(AutostartEntryTest, escapesTheSpecialCharactersOfAnExecLine) {
    const auto command = [](const std::vector<std::string>& arguments) {
        const std::string line = lineOf("Exec", arguments);
        const std::string mark = "Exec=/usr/bin/env KESTRELNET_QUIET_START=1 ";
        return line.starts_with(mark) ? line.substr(mark.size()) : "without the mark: " + line;
    };
    EXPECT_EQ(command({"/a b", "c"}), R"("/a b" "c")");
    EXPECT_EQ(command({"/a", "100%"}), R"("/a" "100%%")");
    EXPECT_EQ(command({"/100%"}), R"("/100%%")");
    EXPECT_EQ(command({"/a=b"}), R"(/usr/bin/nice -n 0 "/a=b")");
    EXPECT_EQ(command({R"(/a"b`c$d)"}), R"("/a\\"b\\`c\\$d")");
    EXPECT_EQ(command({R"(/a\b)"}), R"("/a\\\\b")");
    EXPECT_EQ(command({"/\u00FC;#&<>~'"}), "\"/\u00FC;#&<>~'\"");
    EXPECT_EQ(lineOf("TryExec", {R"(/a "\b% c)"}), R"(TryExec=/a "\\b% c)");
}

TEST(AutostartEntryTest, isInTheUsersAutostartFolder) {
    const auto folder = [](const char* config, const char* home) {
        const ScopedVariable first("XDG_CONFIG_HOME", config);
        const ScopedVariable second("HOME", home);
        return autostartFolder();
    };
    EXPECT_EQ(folder("/config", "/home/somebody"), "/config/autostart");
    for (const char* useless : {"", "relative"}) {
        EXPECT_EQ(folder(useless, "/home/somebody"), "/home/somebody/.config/autostart");
        EXPECT_EQ(folder(useless, useless), files::homeDirectory() + "/.config/autostart");
    }
}

} // namespace
} // namespace kestrelnet
