// SPDX-License-Identifier: MIT
#include "system/LoginAgent.h"

#include "platform/FileManager.h"
#include "tests/core/TunnelTest.h"
#include "tests/support/Waiting.h"

#include <filesystem>
#include <fstream>
#include <thread>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* setting = "kestrelnet_start_at_login";

TEST(LoginAgentTextTest, consistsOfEighteenFixedLines) {
    EXPECT_EQ(launchAgentText("/opt/Kestrelnet.app"),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
              "<plist version=\"1.0\">\n"
              "<dict>\n"
              "    <key>Label</key>\n"
              "    <string>com.kestrelnetvpn.app</string>\n"
              "    <key>ProgramArguments</key>\n"
              "    <array>\n"
              "        <string>/usr/bin/open</string>\n"
              "        <string>-a</string>\n"
              "        <string>/opt/Kestrelnet.app</string>\n"
              "    </array>\n"
              "    <key>RunAtLoad</key>\n"
              "    <true/>\n"
              "    <key>KeepAlive</key>\n"
              "    <false/>\n"
              "</dict>\n"
              "</plist>");
}

TEST(LoginAgentTextTest, escapesNothingInTheBundlesPath) {
    EXPECT_NE(launchAgentText("/a & <b> \"c\"").find("        <string>/a & <b> \"c\"</string>\n"),
              std::string::npos);
}

/// launchctl is a program that records its arguments, the files that it finds and the settings at
/// that time.
class LoginAgentTest : public TunnelTest {
  protected:
    LoginAgentTest() {
        fs::create_directories(paths().home);
        installLaunchctl("exit 0");
    }

    void installLaunchctl(const std::string& end) const {
        world->root.write("bin/launchctl", "#!/bin/sh\n"
                                           "{ printf '%s %s' \"$1\" \"$2\"\n"
                                           "[ $# -eq 2 ] || echo ' and more'\n"
                                           "[ -e \"$2\" ] && echo ' (there)' || echo ' (missing)'\n"
                                           "} | tr -d '\\n' >>'" +
                                               record() + "'\necho >>'" + record() + "'\n" + end +
                                               "\n");
        fs::permissions(paths().launchctl, fs::perms::owner_all);
    }
    std::string record() const { return world->root.file("launchctl-calls"); }
    std::string agent() const {
        return paths().home + "/Library/LaunchAgents/com.kestrelnetvpn.app.plist";
    }
    /// One line for each run of launchctl.
    std::vector<std::string> calls() const {
        std::ifstream file(record());
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
        return lines;
    }
    std::string load() const { return "load " + agent() + " (there)"; }
    std::string unload(const char* state) const { return "unload " + agent() + state; }
    std::string written() const { return readFile(agent()); }
    bool stored() const { return world->reopenDefaults()->boolean(setting); }
};

TEST_F(LoginAgentTest, isOffAtFirstAndReadingDoesNothing) {
    EXPECT_FALSE(manager->startAtLogin());
    EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(LoginAgentTest, switchingOnWritesTheAgentAndLoadsIt) {
    manager->setStartAtLogin(true);
    EXPECT_EQ(written(), launchAgentText(paths().bundle));
    EXPECT_TRUE(written().ends_with("\n</plist>"));
    EXPECT_THAT(calls(), ElementsAre(load()));
    EXPECT_TRUE(stored());
    EXPECT_TRUE(manager->startAtLogin());
}

TEST_F(LoginAgentTest, switchingOffUnloadsTheAgentThenDeletesIt) {
    manager->setStartAtLogin(true);
    manager->setStartAtLogin(false);
    EXPECT_THAT(calls(), ElementsAre(load(), unload(" (there)")));
    EXPECT_FALSE(files::exists(agent()));
    EXPECT_FALSE(stored());
}

TEST_F(LoginAgentTest, switchingOnTwiceWritesAndLoadsAgainEvenWhenLoadingFails) {
    manager->setStartAtLogin(true);
    installLaunchctl("echo 'already loaded' >&2; exit 1");
    manager->setStartAtLogin(true);
    EXPECT_EQ(written(), launchAgentText(paths().bundle));
    EXPECT_THAT(calls(), ElementsAre(load(), load()));
}

TEST_F(LoginAgentTest, anOlderAgentIsReplaced) {
    world->root.write("home/Library/LaunchAgents/com.kestrelnetvpn.app.plist",
                      std::string(10000, 'x'));
    manager->setStartAtLogin(true);
    EXPECT_EQ(written(), launchAgentText(paths().bundle));
}

TEST_F(LoginAgentTest, anUnchangedValueIsWrittenAnnouncedOnceAndAppliedAgain) {
    for (const bool value : {true, false}) {
        manager->setStartAtLogin(value);
        world->reopenDefaults()->set(setting, !value);
        const std::size_t before = calls().size();
        recordNotices();
        notices.clear();
        manager->setStartAtLogin(value);
        EXPECT_EQ(stored(), value);
        EXPECT_EQ(notices.size(), 1U);
        EXPECT_EQ(calls().size(), before + 1);
    }
}

TEST_F(LoginAgentTest, isAnnouncedAfterTheWriteAndBeforeTheAgentIsInstalled) {
    std::vector<std::string> seen;
    const auto subscription = manager->objectWillChange.subscribe([&] {
        seen.push_back(std::string(stored() ? "on, " : "off, ") +
                       (files::exists(agent()) ? "an agent, " : "no agent, ") +
                       std::to_string(calls().size()));
    });
    manager->setStartAtLogin(true);
    manager->setStartAtLogin(false);
    EXPECT_THAT(seen, ElementsAre("on, no agent, 0", "off, an agent, 1"));
}

TEST_F(LoginAgentTest, switchingOffWithoutAnAgentStillUnloads) {
    manager->setStartAtLogin(false);
    EXPECT_THAT(calls(), ElementsAre(unload(" (missing)")));
    EXPECT_FALSE(files::exists(agent()));
    EXPECT_FALSE(files::exists(paths().home + "/Library"));
}

TEST_F(LoginAgentTest, waitsForTheServiceManager) {
    const std::string gate = world->root.file("gate");
    const std::string end = world->root.file("end");
    ASSERT_TRUE(files::makeFifo(gate, 0600));
    installLaunchctl("read opened <'" + gate + "'; : >'" + end + "'");
    for (const bool value : {true, false}) {
        const std::size_t before = calls().size();
        std::thread doorkeeper([&] {
            EXPECT_TRUE(waitFor([&] { return calls().size() > before; }));
            EXPECT_TRUE(files::exists(agent()));
            std::ofstream(gate) << "opened\n";
        });
        manager->setStartAtLogin(value);
        EXPECT_TRUE(files::exists(end));
        doorkeeper.join();
        fs::remove(end);
    }
}

TEST_F(LoginAgentTest, aMissingServiceManagerIsNotReported) {
    fs::remove(paths().launchctl);
    const Snapshot before = snapshot();
    manager->setStartAtLogin(true);
    EXPECT_EQ(written(), launchAgentText(paths().bundle));
    EXPECT_TRUE(manager->startAtLogin());
    manager->setStartAtLogin(false);
    EXPECT_FALSE(files::exists(agent()));
    EXPECT_EQ(snapshot(), before);
}

TEST_F(LoginAgentTest, aFileAtTheFoldersPathLeavesNoAgentAndLaunchctlStillRuns) {
    const std::string inTheWay = world->root.write("home/Library/LaunchAgents", "mine");
    manager->setStartAtLogin(true);
    EXPECT_EQ(readFile(inTheWay), "mine");
    EXPECT_THAT(calls(), ElementsAre("load " + agent() + " (missing)"));
    EXPECT_TRUE(manager->startAtLogin());
    manager->setStartAtLogin(false);
    EXPECT_EQ(readFile(inTheWay), "mine");
}

TEST_F(LoginAgentTest, aMissingHomeFolderIsCreated) {
    fs::remove_all(paths().home);
    manager->setStartAtLogin(true);
    EXPECT_EQ(written(), launchAgentText(paths().bundle));
}

TEST_F(LoginAgentTest, aChangeOfTheHomeFolderIsNotSeenAfterTheFirstUse) {
    manager->setStartAtLogin(true);
    TunnelManagerInspector::platform(*manager).paths.home = world->root.file("moved");
    manager->setStartAtLogin(false);
    EXPECT_FALSE(files::exists(agent()));
    EXPECT_THAT(calls(), ElementsAre(load(), unload(" (there)")));
}

TEST_F(LoginAgentTest, aPathThatMakesTheListInvalidIsWrittenUnchanged) {
    TunnelManagerInspector::platform(*manager).paths.bundle = "/opt/R&D/Kestrelnet.app";
    installLaunchctl("exit 1");
    manager->setStartAtLogin(true);
    EXPECT_THAT(written(), testing::HasSubstr("<string>/opt/R&D/Kestrelnet.app</string>"));
    EXPECT_TRUE(manager->startAtLogin());
}

} // namespace
} // namespace kestrelnet
