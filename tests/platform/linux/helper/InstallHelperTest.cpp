// SPDX-License-Identifier: MIT
// scripts/install-helper.sh, as root runs it, in the bundle and beside the sources.
#include "tests/platform/linux/helper/HelperTest.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;

const std::string folder = "/Library/PrivilegedHelperTools";
const std::string helper = folder + "/com.kestrelnetvpn.tunnel";
const std::string client = folder + "/kestrelnet-client";

const std::string contents = "/usr/lib/kestrelnet/Contents";
const std::string script = contents + "/Resources/install-helper.sh";
const std::string bundledHelper = contents + "/Helpers/com.kestrelnetvpn.tunnel";
const std::string bundledClient = contents + "/Resources/kestrelnet-client";
const std::string systemClient = "/usr/local/bin/kestrelnet-client";
const std::string ownClient = "/home/kestrel/.kestrelnet/kestrelnet-client";

struct Outcome {
    int status;
    std::string output;
    std::string errors;
};

void write(const std::string& path, const std::string& text, mode_t mode = 0755) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path) << text;
    EXPECT_EQ(::chmod(path.c_str(), mode), 0);
}

/// "uid:gid mode" of the file at `path`.
std::string facts(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return "no file";
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%u:%u %04o", status.st_uid, status.st_gid,
                  status.st_mode & 07777U);
    return text.data();
}

std::vector<std::string> names(const std::string& path) {
    std::vector<std::string> found;
    if (fs::exists(path)) {
        for (const auto& entry : fs::directory_iterator(path)) {
            found.push_back(entry.path().filename());
        }
    }
    return found;
}

class InstallHelperTest : public testing::Test {
  protected:
    void SetUp() override {
        fs::remove_all("/Library");
        fs::remove_all(contents);
        fs::remove(systemClient);
        rootWorld::install(KESTRELNET_BUILT_BUNDLE "/Contents/Resources/install-helper.sh",
                           contents + "/Resources");
        rootWorld::install(KESTRELNET_BUILT_BUNDLE "/Contents/Helpers/com.kestrelnetvpn.tunnel",
                           contents + "/Helpers");
    }

    /// Runs the script the way the administrator prompt does, in an environment of its own.
    static Outcome run(const Environment& environment = {}, const std::string& arguments = "",
                       const std::string& path = script) {
        std::string command = "cd /tmp; env -i";
        for (const auto& [name, value] : environment) {
            command.append(" '").append(name).append("=").append(value).append("'");
        }
        command += " /bin/bash '" + path + "' " + arguments + " >/tmp/output 2>/tmp/errors";
        const int status = runAsRoot(command);
        return {status, readFile("/tmp/output"), readFile("/tmp/errors")};
    }
    static Outcome runFor(const rootWorld::User& user) {
        return run({{"PKEXEC_UID", std::to_string(user.uid)}});
    }

    static void expectInstalled(const std::string& clientText) {
        EXPECT_EQ(facts(client), "0:0 0755");
        EXPECT_EQ(facts(helper), "0:0 4755");
        EXPECT_EQ(readFile(client), clientText);
        EXPECT_TRUE(readFile(helper) == readFile(bundledHelper));
        EXPECT_THAT(names(folder),
                    UnorderedElementsAre("com.kestrelnetvpn.tunnel", "kestrelnet-client"));
    }
    /// It failed with `message` and left what was there alone: nothing.
    static void expectRefusal(const Outcome& outcome, const std::string& message) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_EQ(outcome.errors, "Kestrelnet: " + message + ".\n");
        EXPECT_THAT(names(folder), IsEmpty());
    }
};

// -- What it installs --------------------------------------------------------------------------

TEST_F(InstallHelperTest, bothFilesAreRootsAndItSaysSo) {
    write(systemClient, "a client");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output,
              "Kestrelnet: installed " + client + ", a copy of " + systemClient + ".\n" +
                  "Kestrelnet: installed " + helper +
                  ", which lets every user of this computer run that client as root.\n");
    expectInstalled("a client");
}

TEST_F(InstallHelperTest, theClientIsLookedForInTheApplicationsOrder) {
    write(systemClient, "the system's");
    EXPECT_EQ(runFor(rootWorld::user).status, 0);
    expectInstalled("the system's");
    write(ownClient, "the user's");
    EXPECT_EQ(runFor(rootWorld::user).status, 0);
    expectInstalled("the user's");
    write(bundledClient, "the bundle's");
    EXPECT_EQ(runFor(rootWorld::user).status, 0);
    expectInstalled("the bundle's");
    fs::remove(ownClient);
}

TEST_F(InstallHelperTest, theUsersFolderIsThatOfWhoAsked) {
    write(systemClient, "the system's");
    write(ownClient, "the user's");
    const std::string uid = std::to_string(rootWorld::user.uid);
    EXPECT_EQ(run({{"SUDO_UID", uid}}).status, 0);
    expectInstalled("the user's");
    // The prompt's word counts more, and a home folder from the environment nothing.
    const std::string other = std::to_string(rootWorld::stranger.uid);
    EXPECT_EQ(
        run({{"PKEXEC_UID", other}, {"SUDO_UID", uid}, {"HOME", rootWorld::user.home}}).status, 0);
    expectInstalled("the system's");
    for (const char* nobody : {"", "99999", "kestrel", "4711x", "-1", "0 0"}) {
        EXPECT_EQ(run({{"PKEXEC_UID", nobody}, {"HOME", rootWorld::user.home}}).status, 0);
        expectInstalled("the system's");
    }
    fs::remove(ownClient);
}

TEST_F(InstallHelperTest, onceMoreReplacesWhatIsThere) {
    write(systemClient, "first");
    EXPECT_EQ(run().status, 0);
    struct stat before {};
    ASSERT_EQ(::stat(helper.c_str(), &before), 0);
    const int held = ::open(helper.c_str(), O_RDONLY | O_CLOEXEC);
    write(systemClient, "second");
    EXPECT_EQ(run().status, 0);
    expectInstalled("second");
    struct stat after {};
    ASSERT_EQ(::stat(helper.c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino) << "never in place: it may be running";
    // What was there before has lost its name and nothing else.
    ASSERT_EQ(::fstat(held, &after), 0);
    EXPECT_EQ(after.st_nlink, 0U);
    EXPECT_EQ(after.st_size, before.st_size);
    ::close(held);
}

TEST_F(InstallHelperTest, aHelperThatRunsGoesOn) {
    const FakeClient first("script");
    first.installProgramAt(systemClient);
    EXPECT_EQ(run().status, 0);
    fs::rename(systemClient + ".arguments", client + ".arguments");
    UserProgram running(helper);
    ASSERT_TRUE(waitFor([&] { return first.isReady(); }));
    write(systemClient, "#!/bin/sh\nexit 5\n");
    EXPECT_EQ(run().status, 0);
    UserProgram next(helper);
    EXPECT_EQ(next.waitStatus(), W_EXITCODE(5, 0));
    EXPECT_TRUE(first.isAlive());
    first.exit(3);
    EXPECT_EQ(running.waitStatus(), W_EXITCODE(3, 0));
}

TEST_F(InstallHelperTest, anInstalledHelperIsReplacedAtOnceWheneverOneLooks) {
    write(systemClient, "#!/bin/sh\nexit 5\n");
    EXPECT_EQ(run().status, 0);
    const pid_t installer = ::fork();
    if (installer == 0) {
        for (int round = 0; round < 10; ++round) {
            run();
        }
        ::_exit(0);
    }
    int status = 0;
    while (::waitpid(installer, &status, WNOHANG) == 0) {
        UserProgram program(helper);
        ASSERT_EQ(program.waitStatus(), W_EXITCODE(5, 0)) << program.output();
    }
}

TEST_F(InstallHelperTest, linksInThePlaceOfTheFilesAreReplacedNotFollowed) {
    write(systemClient, "a client");
    write("/tmp/innocent", "keep me", 0600);
    fs::create_directories(folder);
    fs::create_symlink("/tmp/innocent", client);
    fs::create_symlink("/tmp/innocent", helper);
    EXPECT_EQ(run().status, 0);
    expectInstalled("a client");
    EXPECT_EQ(readFile("/tmp/innocent"), "keep me");
    EXPECT_EQ(facts("/tmp/innocent"), "0:0 0600");
}

TEST_F(InstallHelperTest, fromTheSourcesItInstallsWhatWasBuilt) {
    write(systemClient, "a client");
    const std::string tree = "/srv/source tree";
    rootWorld::install(script, tree + "/scripts");
    for (const char* place : {"/build/release/Kestrelnet", "/Kestrelnet.app", "/Kestrelnet"}) {
        const std::string built = tree + place;
        rootWorld::install(bundledHelper, built + "/Contents/Helpers");
        const Outcome outcome = run({}, "", tree + "/scripts/install-helper.sh");
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_THAT(outcome.output, StartsWith("Kestrelnet: installing from " + built + ".\n"));
        expectInstalled("a client");
        fs::remove_all(tree + "/build");
        fs::remove_all(built);
    }
    expectInstalled("a client");
    fs::remove_all(folder);
    expectRefusal(run({}, "", tree + "/scripts/install-helper.sh"),
                  "there is no application beside " + tree +
                      "/scripts; build it first (scripts/run does)");
}

TEST_F(InstallHelperTest, theFolderAndTheMaskOfTheCallerDoNotMatter) {
    write(systemClient, "a client");
    write("/tmp/evil/dirname", "#!/bin/sh\n>/tmp/evil/mark\n");
    write("/tmp/evil/mktemp", "#!/bin/sh\n>/tmp/evil/mark\n");
    const std::string command = "umask 0; cd /tmp/evil; PATH=/tmp/evil:.:$PATH IFS=/ CDPATH=/tmp "
                                "/bin/bash " +
                                script + " >/tmp/output 2>&1";
    EXPECT_EQ(runAsRoot(command), 0) << readFile("/tmp/output");
    expectInstalled("a client");
    EXPECT_FALSE(fs::exists("/tmp/evil/mark"));
    EXPECT_EQ(fs::status(folder).permissions(), static_cast<fs::perms>(0755));
}

// -- What it refuses ---------------------------------------------------------------------------

TEST_F(InstallHelperTest, withoutAClientItNamesThePlacesAndChangesNothing) {
    expectRefusal(run(), "there is no kestrelnet-client to install. It was looked for at " +
                             bundledClient + ", and " + systemClient);
    expectRefusal(runFor(rootWorld::user),
                  "there is no kestrelnet-client to install. It was looked for at " +
                      bundledClient + ", " + ownClient + ", and " + systemClient);
    EXPECT_FALSE(fs::exists("/Library"));
}

TEST_F(InstallHelperTest, aFailureLeavesAnEarlierInstallationAlone) {
    write(systemClient, "a client");
    EXPECT_EQ(run().status, 0);
    write(systemClient, "");
    EXPECT_EQ(run().status, 1);
    expectInstalled("a client");
    fs::remove(systemClient);
    EXPECT_EQ(run().status, 1);
    expectInstalled("a client");
}

TEST_F(InstallHelperTest, aClientThatIsNoFileOrEmpty) {
    fs::create_directory(systemClient);
    expectRefusal(run(), systemClient + " is not a file");
    fs::remove(systemClient);
    ASSERT_EQ(::mkfifo(systemClient.c_str(), 0755), 0);
    expectRefusal(run(), systemClient + " is not a file");
    fs::remove(systemClient);
    write(systemClient, "");
    expectRefusal(run(), systemClient + " is empty");
}

class InstallOwnClientTest : public InstallHelperTest {
  protected:
    void SetUp() override {
        InstallHelperTest::SetUp();
        write(systemClient, "the system's");
        write(ownClient, "the user's");
    }
    void TearDown() override { fs::remove_all(rootWorld::user.home + "/.kestrelnet"); }
};

TEST_F(InstallOwnClientTest, oneThatTheUserMayNotReadIsNotCopied) {
    ASSERT_EQ(::chmod(ownClient.c_str(), 0600), 0);
    expectRefusal(runFor(rootWorld::user),
                  ownClient + " cannot be read with the rights of the user who asked");
}

TEST_F(InstallOwnClientTest, aLinkToAFileOfRootsCopiesNothing) {
    write("/root/secret", "only root may know", 0600);
    fs::remove(ownClient);
    fs::create_symlink("/etc/shadow", ownClient);
    expectRefusal(runFor(rootWorld::user),
                  ownClient + " cannot be read with the rights of the user who asked");
    // Behind a folder that he may not enter there is nothing for him.
    fs::remove(ownClient);
    fs::create_symlink("/root/secret", ownClient);
    ASSERT_EQ(::chmod("/root", 0700), 0);
    EXPECT_EQ(runFor(rootWorld::user).status, 0);
    expectInstalled("the system's");
}

TEST_F(InstallOwnClientTest, aLinkToAFileThatTheUserMayReadIsFollowed) {
    write("/opt/vendor/client", "a vendor's");
    fs::remove(ownClient);
    fs::create_symlink("/opt/vendor/client", ownClient);
    EXPECT_EQ(runFor(rootWorld::user).status, 0);
    expectInstalled("a vendor's");
}

TEST_F(InstallHelperTest, withArguments) {
    write(systemClient, "a client");
    expectRefusal(run({}, "--help"), "install-helper.sh takes no arguments");
    expectRefusal(run({}, "''"), "install-helper.sh takes no arguments");
}

TEST_F(InstallHelperTest, withoutRootsRights) {
    write(systemClient, "a client");
    UserProgram program("/bin/bash", {.arguments = {"bash", script}});
    EXPECT_EQ(program.output(),
              "Kestrelnet: installing the helper needs root's rights; run it with sudo.\n");
    EXPECT_EQ(program.waitStatus(), W_EXITCODE(1, 0));
    EXPECT_FALSE(fs::exists("/Library"));
}

TEST_F(InstallHelperTest, aBundleWithoutAHelper) {
    write(systemClient, "a client");
    fs::remove(bundledHelper);
    expectRefusal(run(), bundledHelper + " is not a file");
}

TEST_F(InstallHelperTest, aFolderThatOthersCouldChange) {
    write(systemClient, "a client");
    fs::create_directories(folder);
    for (const std::string part : {"/", "/Library", folder.c_str()}) {
        const std::string message =
            part + " could be changed by others than root. Make it root's with mode 755, then "
                   "install again";
        ASSERT_EQ(::chown(part.c_str(), rootWorld::user.uid, 0), 0);
        expectRefusal(run(), message);
        ASSERT_EQ(::chown(part.c_str(), 0, 0), 0);
        for (const mode_t mode : {0775U, 0757U, 01777U}) {
            ASSERT_EQ(::chmod(part.c_str(), mode), 0);
            expectRefusal(run(), message);
        }
        ASSERT_EQ(::chmod(part.c_str(), 0755), 0);
    }
    EXPECT_EQ(run().status, 0);
}

TEST_F(InstallHelperTest, somethingElseInAFoldersPlace) {
    write(systemClient, "a client");
    fs::create_directory("/Library");
    fs::create_directory("/tmp/elsewhere");
    fs::create_symlink("/tmp/elsewhere", folder);
    expectRefusal(run(), folder + " is not a folder. Take it away, then install again");
    fs::remove(folder);
    fs::create_symlink("/nowhere", folder);
    expectRefusal(run(), folder + " is not a folder. Take it away, then install again");
    fs::remove(folder);
    write(folder, "a file");
    EXPECT_EQ(run().status, 1);
    fs::remove(folder);
    fs::create_directories(helper);
    EXPECT_EQ(run().errors,
              "Kestrelnet: " + helper + " is a folder. Take it away, then install again.\n");
    EXPECT_THAT(names(folder), ElementsAre("com.kestrelnetvpn.tunnel"));
}

TEST_F(InstallHelperTest, aFileSystemMountedNosuid) {
    write(systemClient, "a client");
    fs::create_directory("/Library");
    ASSERT_EQ(::mount("tmpfs", "/Library", "tmpfs", MS_NOSUID, "mode=0755"), 0);
    expectRefusal(run(), "the helper could not work at " + folder +
                             ": the file system there is mounted \"nosuid\"");
    ASSERT_EQ(::umount("/Library"), 0);
}

TEST_F(InstallHelperTest, aFullDiskLeavesNothingHalfDone) {
    write(systemClient, "a client");
    fs::create_directory("/Library");
    ASSERT_EQ(::mount("tmpfs", "/Library", "tmpfs", 0, "mode=0755,size=64k"), 0);
    const Outcome outcome = run();
    expectRefusal(outcome, bundledHelper + " could not be copied");
    ASSERT_EQ(::umount("/Library"), 0);
}

TEST_F(InstallHelperTest, askedToStopItLeavesNoPieceBehind) {
    // A client that never ends, so that the copy is under way for sure.
    fs::create_directories(fs::path(ownClient).parent_path());
    write(systemClient, "a client");
    write("/tmp/slow/cat", "#!/bin/sh\necho >/tmp/slow/begun\nexec tail -f /dev/null\n");
    ASSERT_EQ(::mount("/tmp/slow/cat", "/usr/bin/cat", nullptr, MS_BIND, nullptr), 0);
    UserProgram program("/bin/bash", {.arguments = {"bash", script}, .who = root});
    EXPECT_TRUE(waitFor([] { return fs::exists("/tmp/slow/begun"); }));
    EXPECT_EQ(names(folder).size(), 1U);
    // To all of it, as the root side of the prompt does.
    for (const auto& process : rootWorld::processes()) {
        ::kill(process.pid, SIGTERM);
    }
    EXPECT_EQ(program.waitStatus(), SIGTERM);
    EXPECT_THAT(names(folder), IsEmpty());
    ASSERT_EQ(::umount("/usr/bin/cat"), 0);
}

} // namespace
} // namespace kestrelnet
