// SPDX-License-Identifier: MIT
#include "platform/FileManager.h"
#include "tests/support/LogRecorder.h"
#include "tests/system/AdministratorTest.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;

constexpr const char* ownLine = "export PATH=\"$HOME/.kestrelnet:$PATH\"\n";

class UninstallTest : public AdministratorTest {
  protected:
    UninstallTest() {
        fs::create_directories(paths().home);
        world->root.write("bin/launchctl", "#!/bin/sh\necho \"$1\" >>'" + record() + "'\n");
        fs::permissions(paths().launchctl, fs::perms::owner_all);
    }

    std::string inHome(const std::string& name) const { return paths().home + "/" + name; }
    std::string writeHome(const std::string& name, std::string_view text) const {
        return world->root.write("home/" + name, text);
    }
    std::string launchctlCalls() const { return readFile(record()); }
    std::string agent() const { return inHome("Library/LaunchAgents/com.kestrelnetvpn.app.plist"); }
    void installHelperFile() {
        world->root.write("helpers/com.kestrelnetvpn.tunnel", "");
        manager->helperInstalled = true;
    }
    void uninstall() {
        manager->uninstall([this] { ++completions; });
    }

    int completions = 0;

  private:
    std::string record() const { return world->root.file("launchctl-calls"); }
};

// -- In order ------------------------------------------------------------------------------------

TEST_F(UninstallTest, withoutARunAndAHelperEverythingIsRemovedBeforeItReturns) {
    FakeClient& runner = installRunner();
    manager->setStartAtLogin(true);
    writeHome(".kestrelnet/deep/file", "");
    uninstall();
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(time.pendingCount(), 0U);
    EXPECT_FALSE(runner.pid());
    EXPECT_EQ(launchctlCalls(), "load\nunload\n");
    EXPECT_FALSE(files::exists(agent()));
    EXPECT_FALSE(files::exists(inHome(".kestrelnet")));
    EXPECT_FALSE(files::exists(world->defaultsFile));
}

TEST_F(UninstallTest, succeedsWhenNothingIsInstalled) {
    fs::remove_all(paths().home);
    fs::remove(paths().launchctl);
    fs::remove(world->defaultsFile);
    uninstall();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(files::exists(paths().home));
}

TEST_F(UninstallTest, removesOnlyTheHelperAsRoot) {
    installHelperFile();
    FakeClient& runner = installRunner();
    writeHome(".bashrc", ownLine);
    writeHome(".kestrelnet/file", "");
    uninstall();
    ASSERT_TRUE(hasStarted(runner));
    EXPECT_THAT(runner.arguments(), ElementsAre("-e", "do shell script \"rm -f " + paths().helper +
                                                          "\" with administrator privileges"));
    // The agent is removed before the prompt, everything else after it.
    EXPECT_EQ(launchctlCalls(), "unload\n");
    EXPECT_TRUE(files::exists(inHome(".kestrelnet")));
    EXPECT_EQ(readFile(inHome(".bashrc")), ownLine);
    runner.exit(0);
    ASSERT_TRUE(time.waitUntil([this] { return completions > 0; }));
    EXPECT_FALSE(files::exists(inHome(".kestrelnet")));
    EXPECT_EQ(readFile(inHome(".bashrc")), "");
    EXPECT_FALSE(manager->helperInstalled);
    time.advance(10s);
    EXPECT_EQ(completions, 1);
}

TEST_F(UninstallTest, aCancelledPromptDoesNotAffectTheOtherSteps) {
    installHelperFile();
    FakeClient& runner = installRunner();
    writeHome(".kestrelnet/file", "");
    uninstall();
    ASSERT_TRUE(hasStarted(runner));
    runner.exit(1);
    ASSERT_TRUE(time.waitUntil([this] { return completions > 0; }));
    EXPECT_TRUE(files::exists(paths().helper));
    EXPECT_FALSE(manager->helperInstalled);
    EXPECT_FALSE(files::exists(inHome(".kestrelnet")));
    EXPECT_FALSE(files::exists(world->defaultsFile));
}

TEST_F(UninstallTest, continuesInALaterMainJobWhenThePromptCannotBeStarted) {
    installHelperFile();
    writeHome(".kestrelnet/file", "");
    uninstall();
    EXPECT_EQ(completions, 0);
    EXPECT_TRUE(files::exists(inHome(".kestrelnet")));
    EXPECT_EQ(time.pendingCount(), 1U);
    time.runPending();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(files::exists(inHome(".kestrelnet")));
    EXPECT_FALSE(manager->helperInstalled);
}

TEST_F(UninstallTest, theLastStepsRunInTheirOrder) {
    writeHome(".kestrelnet/file", "");
    writeHome(".zshrc", ownLine);
    manager->helperInstalled = true;
    std::string atNotice;
    const auto subscription = manager->objectWillChange.subscribe([&] {
        atNotice = (manager->helperInstalled ? "helper" : "no helper") +
                   std::string(files::exists(inHome(".kestrelnet")) ? ", folder" : "") +
                   readFile(inHome(".zshrc")) +
                   (files::exists(world->defaultsFile) ? ", settings" : "") +
                   (completions > 0 ? ", completed" : "");
    });
    uninstall();
    EXPECT_EQ(atNotice, "helper");
    EXPECT_EQ(completions, 1);
}

// -- With a tunnel -------------------------------------------------------------------------------

TEST_F(UninstallTest, inEveryOtherStateItDisconnectsAndWaitsTwoSeconds) {
    for (const TunnelStatus status : {TunnelStatus::connecting, TunnelStatus::connected,
                                      TunnelStatus::reconnecting, TunnelStatus::error}) {
        completions = 0;
        writeHome(".kestrelnet/file", "");
        manager->status = status;
        manager->exitIP = "192.0.2.1";
        uninstall();
        // Nothing runs, so the disconnect ends immediately. The wait does not.
        EXPECT_EQ(manager->status, TunnelStatus::disconnected) << rawValue(status);
        EXPECT_EQ(*manager->exitIP, std::nullopt);
        time.advance(1999ms);
        EXPECT_TRUE(files::exists(inHome(".kestrelnet")));
        EXPECT_EQ(completions, 0);
        time.advance(1ms);
        EXPECT_FALSE(files::exists(inHome(".kestrelnet")));
        EXPECT_EQ(completions, 1) << rawValue(status);
    }
}

TEST_F(UninstallTest, theStatusIsNotTestedAgainAfterTheWait) {
    manager->status = TunnelStatus::error;
    uninstall();
    manager->status = TunnelStatus::connected;
    time.advance(2s);
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(manager->status, TunnelStatus::connected);
}

TEST_F(UninstallTest, aClientThatTakesLongerIsNotWaitedFor) {
    installHelperFile();
    FakeClient& client = start("stubborn");
    files::remove(paths().helper);
    uninstall();
    time.advance(2s);
    EXPECT_EQ(completions, 1);
    EXPECT_TRUE(client.isAlive());
    time.advance(1s);
    EXPECT_TRUE(reaches(TunnelStatus::disconnected));
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
}

TEST_F(UninstallTest, stopsWhenTheControllerIsDestroyedDuringTheWait) {
    writeHome(".kestrelnet/file", "");
    manager->status = TunnelStatus::error;
    uninstall();
    manager.reset();
    time.advance(10s);
    EXPECT_EQ(completions, 0);
    EXPECT_TRUE(files::exists(inHome(".kestrelnet")));
}

TEST_F(UninstallTest, stopsWhenTheControllerIsDestroyedWhileThePromptIsShown) {
    installHelperFile();
    FakeClient& runner = installRunner();
    writeHome(".kestrelnet/file", "");
    uninstall();
    ASSERT_TRUE(hasStarted(runner));
    manager.reset();
    runner.exit(0);
    ASSERT_TRUE(time.waitHoldingMain([this] { return time.pendingCount() > 0; }));
    time.runPending();
    EXPECT_EQ(completions, 0);
    EXPECT_TRUE(files::exists(inHome(".kestrelnet")));
}

TEST_F(UninstallTest, aSecondUninstallMeanwhileRunsAsWell) {
    manager->status = TunnelStatus::error;
    uninstall();
    uninstall();
    time.advance(2s);
    EXPECT_EQ(completions, 2);
}

// -- What it leaves ------------------------------------------------------------------------------

TEST_F(UninstallTest, removesEverySettingOnDiskAndNoneInMemory) {
    manager->apiKey = validKey;
    manager->setAutoConnect(true);
    manager->setStartAtLogin(true);
    manager->lastLog = "line";
    world->reopenDefaults()->set("somebody's", "own");
    uninstall();
    EXPECT_FALSE(files::exists(world->defaultsFile));
    const auto after = world->reopenDefaults();
    EXPECT_EQ(after->string("kestrelnet_api_key"), std::nullopt);
    EXPECT_EQ(after->string("somebody's"), std::nullopt);
    EXPECT_FALSE(manager->autoConnect());
    EXPECT_FALSE(manager->startAtLogin());
    EXPECT_EQ(*manager->apiKey, validKey);
    EXPECT_EQ(*manager->lastLog, "line");
    EXPECT_TRUE(manager->isConfigured());
}

TEST_F(UninstallTest, keepsAClientOutsideTheFolderAndEverythingElse) {
    writeHome("Library/LaunchAgents/other.plist", "theirs");
    writeHome(".profile", ownLine);
    writeHome(".kestrelnetrc", "theirs");
    world->root.write("usr/local/bin/kestrelnet-client", "");
    uninstall();
    EXPECT_EQ(readFile(inHome("Library/LaunchAgents/other.plist")), "theirs");
    EXPECT_EQ(readFile(inHome(".profile")), ownLine);
    EXPECT_EQ(readFile(inHome(".kestrelnetrc")), "theirs");
    EXPECT_EQ(manager->binaryPath(), paths().systemClient);
}

TEST_F(UninstallTest, aFolderThatIsALinkIsRemovedButNotItsTarget) {
    world->root.write("elsewhere/client", "kept");
    fs::remove_all(inHome(".kestrelnet"));
    fs::create_directory_symlink(world->root.file("elsewhere"), inHome(".kestrelnet"));
    uninstall();
    EXPECT_FALSE(fs::is_symlink(inHome(".kestrelnet")));
    EXPECT_EQ(readFile(world->root.file("elsewhere/client")), "kept");
}

// -- Shell start-up files ------------------------------------------------------------------------

TEST_F(UninstallTest, exactlyTheOwnLineOfAStartUpFileIsRemoved) {
    for (const char* name : {".zshrc", ".bashrc"}) {
        writeHome(name, std::string("# mine\nalias l=ls\n") + ownLine + "set -o vi\n");
    }
    uninstall();
    for (const char* name : {".zshrc", ".bashrc"}) {
        EXPECT_EQ(readFile(inHome(name)), "# mine\nalias l=ls\nset -o vi\n") << name;
    }
}

TEST_F(UninstallTest, aLineWithALongerNameIsRemovedAsWell) {
    writeHome(".bashrc", "a\ncp ~/.kestrelnetrc /tmp\nb\n");
    uninstall();
    EXPECT_EQ(readFile(inHome(".bashrc")), "a\nb\n");
}

TEST_F(UninstallTest, aStartUpFileWithoutSuchALineIsRewrittenWithTheSameContent) {
    const std::string path = writeHome(".bashrc", "alias l=ls");
    std::ifstream before(path);
    struct stat old {};
    ASSERT_EQ(::stat(path.c_str(), &old), 0);
    uninstall();
    struct stat now {};
    ASSERT_EQ(::stat(path.c_str(), &now), 0);
    EXPECT_NE(old.st_ino, now.st_ino);
    EXPECT_EQ(readFile(path), "alias l=ls");
}

TEST_F(UninstallTest, aMissingFirstFileDoesNotPreventTheSecond) {
    writeHome(".bashrc", ownLine);
    uninstall();
    EXPECT_FALSE(files::exists(inHome(".zshrc")));
    EXPECT_EQ(readFile(inHome(".bashrc")), "");
}

TEST_F(UninstallTest, filesThatAreNotUtf8OrNotRegularAreNotChanged) {
    const std::string text = std::string(ownLine) + "caf\xE9\n";
    writeHome(".zshrc", text);
    ASSERT_TRUE(files::makeFifo(inHome(".bashrc"), 0600));
    uninstall();
    EXPECT_EQ(readFile(inHome(".zshrc")), text);
    EXPECT_TRUE(fs::is_fifo(inHome(".bashrc")));
    EXPECT_EQ(completions, 1);
}

TEST_F(UninstallTest, aStartUpFileKeepsItsMode) {
    for (const auto mode : {0600U, 0640U, 0755U}) {
        const std::string path = writeHome(".bashrc", ownLine);
        fs::permissions(path, fs::perms(mode));
        uninstall();
        EXPECT_EQ(readFile(path), "");
        EXPECT_EQ(fs::status(path).permissions(), fs::perms(mode));
    }
}

// Users keep such files in a repository. The link remains, and its target is rewritten.
TEST_F(UninstallTest, aStartUpFileBehindALinkIsRewrittenInPlace) {
    const std::string real = writeHome("dotfiles/bashrc", std::string("a\n") + ownLine);
    fs::create_symlink("dotfiles/bashrc", inHome(".bashrc"));
    fs::create_symlink("nowhere", inHome(".zshrc"));
    uninstall();
    EXPECT_EQ(fs::read_symlink(inHome(".bashrc")), "dotfiles/bashrc");
    EXPECT_FALSE(fs::is_symlink(real));
    EXPECT_EQ(readFile(real), "a\n");
    EXPECT_TRUE(fs::is_symlink(inHome(".zshrc")));
    EXPECT_FALSE(files::exists(inHome("nowhere")));
}

TEST_F(UninstallTest, aStartUpFileOfAHundredMegabytesIsRewritten) {
    const std::string text(100'000'000, 'x');
    writeHome(".bashrc", text + "\n" + ownLine);
    uninstall();
    EXPECT_TRUE(readFile(inHome(".bashrc")) == text + "\n");
}

TEST_F(UninstallTest, aFullDiskKeepsTheOldFile) {
    const std::string small = std::string(2000, 'x') + "\n" + ownLine;
    const std::string text = std::string(100'000, 'x') + "\n" + ownLine;
    writeHome(".zshrc", small);
    writeHome(".bashrc", text);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit tight{.rlim_cur = 512, .rlim_max = before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
    uninstall();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(readFile(inHome(".zshrc")), small);
    EXPECT_TRUE(readFile(inHome(".bashrc")) == text);
    EXPECT_THAT(std::vector<fs::path>(fs::directory_iterator(paths().home), {}),
                testing::SizeIs(2));
    EXPECT_EQ(completions, 1);
}

/// During its lifetime this process has only the rights of an ordinary user to write files.
class WithoutPrivileges {
  public:
    WithoutPrivileges() {
        if (user_ == 0) {
            EXPECT_EQ(::seteuid(nobody), 0);
        }
    }
    ~WithoutPrivileges() { EXPECT_EQ(::seteuid(user_), 0); }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

  private:
    static constexpr uid_t nobody = 65534;
    uid_t user_ = ::geteuid();
};

TEST_F(UninstallTest, aReadOnlyHomeKeepsEverythingAndIsOnlyLogged) {
    writeHome(".bashrc", ownLine);
    writeHome(".kestrelnet/file", "");
    const Snapshot before = snapshot();
    fs::permissions(world->root.path(), fs::perms(0755));
    for (const std::string& folder : {inHome(""), inHome(".kestrelnet")}) {
        fs::permissions(folder, fs::perms(0555));
    }
    const LogRecorder recorder;
    {
        const WithoutPrivileges reduced;
        uninstall();
    }
    for (const std::string& folder : {inHome(""), inHome(".kestrelnet")}) {
        fs::permissions(folder, fs::perms(0755));
    }
    EXPECT_EQ(readFile(inHome(".bashrc")), ownLine);
    EXPECT_TRUE(files::exists(inHome(".kestrelnet/file")));
    EXPECT_EQ(snapshot(), before);
    EXPECT_EQ(completions, 1);
    EXPECT_THAT(
        recorder.messages(),
        testing::IsSupersetOf({"warning kestrelnet.system: cannot remove " + inHome(".kestrelnet"),
                               "warning kestrelnet.system: cannot write " + inHome(".bashrc")}));
}

} // namespace
} // namespace kestrelnet
