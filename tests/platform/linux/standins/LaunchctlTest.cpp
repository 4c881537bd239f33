// SPDX-License-Identifier: MIT
// Tests the program itself with real files.
#include "platform/FileManager.h"
#include "platform/linux/standins/AutostartEntry.h"
#include "system/LoginAgent.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

class LaunchctlTest : public testing::Test {
  protected:
    /// Runs it in a shell after the shell command `limit`, which may change "$@". Returns its
    /// status.
    int run(const std::vector<std::string>& arguments, const std::string& limit = ":") {
        std::vector<std::string> command{"/bin/sh", "-c",
                                         limit + "; \"$@\" 2>'" + folder.file("errors") + "'", "sh",
                                         KESTRELNET_LAUNCHCTL};
        command.insert(command.end(), arguments.begin(), arguments.end());
        ChildProgram program(command, {{"XDG_CONFIG_HOME", folder.file("config")}});
        return program.exitStatus().value_or(-1);
    }
    int load() { return run({"load", list()}); }
    int unload() { return run({"unload", list()}); }
    std::string errors() const { return readFile(folder.file("errors")); }
    std::string list() const { return folder.file("agent.plist"); }
    std::string entry() const {
        return folder.file("config/autostart/com.kestrelnetvpn.app.desktop");
    }
    std::string written() const { return readFile(entry()); }
    void writeList(const std::string& bundle) const {
        folder.write("agent.plist", launchAgentText(bundle));
    }
    std::string entryOf(const std::string& bundle) const {
        return autostartEntry(std::get<LaunchAgent>(launchAgent(launchAgentText(bundle))));
    }

    TemporaryFolder folder;
};

TEST_F(LaunchctlTest, loadWritesTheEntryAndUnloadRemovesIt) {
    writeList("/opt/Kestrelnet");
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(written(), entryOf("/opt/Kestrelnet"));
    EXPECT_EQ(fs::status(entry()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    for (const char* made : {"config", "config/autostart"}) {
        EXPECT_EQ(fs::status(folder.file(made)).permissions(), fs::perms::owner_all) << made;
    }
    EXPECT_EQ(unload(), 0);
    EXPECT_FALSE(files::exists(entry()));
    EXPECT_TRUE(files::exists(folder.file("config/autostart")));
    EXPECT_EQ(errors(), "");
}

TEST_F(LaunchctlTest, aDesktopStartsTheProgramWhateverItsPath) {
    for (const char* name :
         {"plain", "with blank", " blank at the start", "100% off", "%u", "a%%=b", R"(back\slash)",
          R"(\s)", R"(\\)", "$HOME", "${HOME}", "`id`", R"("quoted")", "it's", "a;b#c", "a=b",
          "[~*?(x)|>", "gr\u00FC\u00DFe \u65E5\u672C"}) {
        const std::string program = std::string(name) + "/Contents/Linux/kestrelnet";
        const std::string started = folder.file("started");
        folder.write(program, "#!/bin/sh\nprintf '%s' \"$# $0\" >'" + started + "'\n");
        fs::permissions(folder.file(program), fs::perms::owner_all);
        std::string bundle = folder.file(name);
        if (const auto sign = bundle.find('>'); sign != std::string::npos) {
            bundle.replace(sign, 1, "&gt;");
        }
        writeList(bundle);
        ASSERT_EQ(load(), 0) << name << ": " << errors();
        EXPECT_EQ(ChildProgram({"desktop-file-validate", entry()}).exitStatus(), 0) << name;
        EXPECT_EQ(ChildProgram({"gio", "launch", entry()}).exitStatus(), 0) << name;
        EXPECT_TRUE(waitFor([&] { return readFile(started) == "0 " + folder.file(program); }))
            << name << ": " << readFile(started);
        fs::remove(started);
    }
}

TEST_F(LaunchctlTest, loadReplacesWhatWasThere) {
    writeList("/opt/Kestrelnet");
    folder.write("config/autostart/com.kestrelnetvpn.app.desktop",
                 "[Desktop Entry]\nHidden=true\n" + std::string(10000, '#'));
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(written(), entryOf("/opt/Kestrelnet"));
}

TEST_F(LaunchctlTest, anAgentThatDoesNotRunAtLoginGetsNoEntry) {
    writeList("/opt/Kestrelnet");
    EXPECT_EQ(load(), 0);
    std::string text = launchAgentText("/opt/Kestrelnet");
    text.replace(text.find("<true/>"), 7, "<false/>");
    folder.write("agent.plist", text);
    EXPECT_EQ(load(), 0);
    EXPECT_FALSE(files::exists(entry()));
}

TEST_F(LaunchctlTest, unloadingAnAgentThatIsNotLoadedIsAnError) {
    writeList("/opt/Kestrelnet");
    EXPECT_EQ(unload(), 1);
    EXPECT_EQ(errors(), "launchctl: " + entry() + ": No such file or directory\n");
}

TEST_F(LaunchctlTest, aListThatCannotBeReadChangesNothing) {
    writeList("/opt/Kestrelnet");
    ASSERT_EQ(load(), 0);
    const std::string before = written();
    ASSERT_EQ(::mkfifo(folder.file("fifo").c_str(), 0600), 0);
    fs::create_directory(folder.file("folder"));
    folder.write("huge", std::string(2'000'000, ' '));
    folder.write("text", "text");
    folder.write("ampersand", launchAgentText("/opt/R&D"));
    for (const char* name : {"missing", "fifo", "folder", "huge", "text", "ampersand"}) {
        for (const char* subcommand : {"load", "unload"}) {
            EXPECT_EQ(run({subcommand, folder.file(name)}), 1) << name;
            EXPECT_THAT(errors(), StartsWith("launchctl: " + folder.file(name))) << name;
            EXPECT_EQ(written(), before) << name;
        }
    }
    run({"load", folder.file("huge")});
    EXPECT_THAT(errors(), HasSubstr("cannot be read"));
}

TEST_F(LaunchctlTest, unloadTakesTheLabelFromTheNameOfAListThatCannotBeUsed) {
    const std::string damaged = folder.file("com.kestrelnetvpn.app.plist");
    const auto prepare = [&](const char* content) {
        writeList("/opt/Kestrelnet");
        ASSERT_EQ(load(), 0);
        fs::remove(damaged);
        if (content != nullptr) {
            folder.write("com.kestrelnetvpn.app.plist", content);
        }
    };
    for (const char* content : {static_cast<const char*>(nullptr), "", "<plist", "text"}) {
        prepare(content);
        EXPECT_EQ(run({"unload", damaged}), 0) << errors();
        EXPECT_FALSE(files::exists(entry()));
        EXPECT_EQ(errors(), "");
    }
    EXPECT_EQ(run({"unload", damaged}), 1);
    EXPECT_EQ(errors(), "launchctl: " + entry() + ": No such file or directory\n");
}

TEST_F(LaunchctlTest, unloadPrefersTheLabelInTheList) {
    writeList("/opt/Kestrelnet");
    ASSERT_EQ(load(), 0);
    folder.write("config/autostart/another.desktop", "another's");
    fs::rename(list(), folder.file("another.plist"));
    EXPECT_EQ(run({"unload", folder.file("another.plist")}), 0);
    EXPECT_FALSE(files::exists(entry()));
    EXPECT_EQ(readFile(folder.file("config/autostart/another.desktop")), "another's");
}

TEST_F(LaunchctlTest, anAutostartFolderThatIsAFileStaysUnchanged) {
    writeList("/opt/Kestrelnet");
    const std::string inTheWay = folder.write("config/autostart", "mine");
    EXPECT_EQ(load(), 1);
    EXPECT_THAT(errors(), HasSubstr("cannot be made"));
    EXPECT_EQ(unload(), 1);
    EXPECT_EQ(readFile(inTheWay), "mine");
}

TEST_F(LaunchctlTest, anEntryThatIsAFolderStaysUnchanged) {
    writeList("/opt/Kestrelnet");
    const std::string inside = folder.write("config/autostart/com.kestrelnetvpn.app.desktop/a", "");
    EXPECT_EQ(load(), 1);
    EXPECT_THAT(errors(), HasSubstr("cannot be written"));
    EXPECT_EQ(unload(), 1);
    EXPECT_EQ(errors(), "launchctl: " + entry() + ": Is a directory\n");
    EXPECT_TRUE(files::exists(inside));
}

TEST_F(LaunchctlTest, aReadOnlyFolderStaysUnchanged) {
    writeList("/opt/Kestrelnet");
    ASSERT_EQ(load(), 0);
    const std::string before = written();
    writeList("/opt/moved");
    const fs::path autostart = fs::path(entry()).parent_path();
    fs::permissions(autostart, fs::perms::owner_read | fs::perms::owner_exec);
    // Root ignores permissions as long as it has its capabilities.
    const std::string bound = "[ $(id -u) != 0 ] || set -- setpriv --bounding-set=-all \"$@\"";
    EXPECT_EQ(run({"load", list()}, bound), 1);
    EXPECT_THAT(errors(), HasSubstr("cannot be written"));
    EXPECT_EQ(run({"unload", list()}, bound), 1);
    EXPECT_EQ(errors(), "launchctl: " + entry() + ": Permission denied\n");
    fs::permissions(autostart, fs::perms::owner_all);
    EXPECT_EQ(written(), before);
}

TEST_F(LaunchctlTest, aFullDiskKeepsTheOldEntryComplete) {
    writeList("/opt/Kestrelnet");
    ASSERT_EQ(load(), 0);
    const std::string before = written();
    writeList("/opt/" + std::string(2000, 'x'));
    EXPECT_EQ(run({"load", list()}, "trap '' XFSZ; ulimit -f 1"), 1);
    EXPECT_THAT(errors(), HasSubstr("cannot be written"));
    EXPECT_EQ(written(), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.file("config/autostart")), {}), 1);
}

TEST_F(LaunchctlTest, loadWritesTheTargetOfALinkAndUnloadRemovesOnlyTheLink) {
    writeList("/opt/Kestrelnet");
    const std::string real = folder.write("dotfiles/entry", "old");
    fs::create_directories(folder.file("config/autostart"));
    fs::create_symlink(real, entry());
    EXPECT_EQ(load(), 0);
    EXPECT_TRUE(fs::is_symlink(entry()));
    EXPECT_EQ(readFile(real), entryOf("/opt/Kestrelnet"));
    EXPECT_EQ(unload(), 0);
    EXPECT_FALSE(fs::is_symlink(entry()));
    EXPECT_TRUE(files::exists(real));
}

TEST_F(LaunchctlTest, requiresASubcommandAndAList) {
    writeList("/opt/Kestrelnet");
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {"load"},
                                                      {"load", ""},
                                                      {"start", list()},
                                                      {"load", list(), list()},
                                                      {"load", "-w", list()},
                                                      {"", list()}}) {
        EXPECT_EQ(run(arguments), 1);
        EXPECT_THAT(errors(), StartsWith("launchctl: "));
    }
    EXPECT_FALSE(files::exists(folder.file("config")));
}

} // namespace
} // namespace kestrelnet
