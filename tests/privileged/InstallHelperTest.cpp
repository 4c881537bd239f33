// SPDX-License-Identifier: MIT
// What a successful installation creates.
#include "tests/privileged/InstallTest.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

namespace fs = std::filesystem;

using InstallHelperTest = InstallTest;

TEST_F(InstallHelperTest, makesRootTheOwnerOfBothFilesAndReportsThem) {
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

TEST_F(InstallHelperTest, searchesForTheClientInTheApplicationsOrder) {
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

TEST_F(InstallHelperTest, searchesTheHomeFolderOfTheUserWhoAsked) {
    write(systemClient, "the system's");
    write(ownClient, "the user's");
    const std::string uid = std::to_string(rootWorld::user.uid);
    EXPECT_EQ(run({{"SUDO_UID", uid}}).status, 0);
    expectInstalled("the user's");
    // PKEXEC_UID has priority. HOME is ignored.
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

TEST_F(InstallHelperTest, aSecondInstallationReplacesBothFiles) {
    write(systemClient, "first");
    EXPECT_EQ(run().status, 0);
    struct stat before {};
    ASSERT_EQ(::stat(helper.c_str(), &before), 0);
    const int held = ::open(helper.c_str(), O_RDONLY | O_CLOEXEC);
    write(systemClient, "second");
    changeBundledHelper();
    EXPECT_EQ(run().status, 0);
    expectInstalled("second");
    struct stat after {};
    ASSERT_EQ(::stat(helper.c_str(), &after), 0);
    EXPECT_NE(before.st_ino, after.st_ino) << "a running program must keep its file";
    // The old file has lost its name, but not its content.
    ASSERT_EQ(::fstat(held, &after), 0);
    EXPECT_EQ(after.st_nlink, 0U);
    EXPECT_EQ(after.st_size, before.st_size);
    ::close(held);
}

TEST_F(InstallHelperTest, aSecondInstallationKeepsAnUnchangedHelper) {
    write(systemClient, "first");
    EXPECT_EQ(run().status, 0);
    struct stat before {};
    ASSERT_EQ(::stat(helper.c_str(), &before), 0);
    write(systemClient, "second");
    EXPECT_EQ(run().output, "Kestrelnet: installed " + client + ", a copy of " + systemClient +
                                ".\nKestrelnet: kept " + helper +
                                ", which lets every user of this computer run that client as "
                                "root.\n");
    expectInstalled("second");
    struct stat after {};
    ASSERT_EQ(::stat(helper.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(InstallHelperTest, aRunningHelperContinuesDuringAReinstallation) {
    const FakeClient first("script");
    first.installProgramAt(systemClient);
    EXPECT_EQ(run().status, 0);
    fs::rename(systemClient + ".arguments", client + ".arguments");
    UserProgram running(helper);
    ASSERT_TRUE(waitFor([&] { return first.isReady(); }));
    write(systemClient, "#!/bin/sh\nexit 5\n");
    changeBundledHelper();
    EXPECT_EQ(run().status, 0);
    UserProgram next(helper);
    EXPECT_EQ(next.waitStatus(), W_EXITCODE(5, 0));
    EXPECT_TRUE(first.isAlive());
    first.exit(3);
    EXPECT_EQ(running.waitStatus(), W_EXITCODE(3, 0));
}

TEST_F(InstallHelperTest, aHelperStartedDuringAReinstallationWorks) {
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

TEST_F(InstallHelperTest, aHelperStartedDuringItsReplacementWorksOrRefuses) {
    write(systemClient, "#!/bin/sh\nexit 5\n");
    EXPECT_EQ(run().status, 0);
    const pid_t installer = ::fork();
    if (installer == 0) {
        for (int round = 0; round < 10; ++round) {
            changeBundledHelper();
            run();
        }
        ::_exit(0);
    }
    int worked = 0;
    int status = 0;
    while (::waitpid(installer, &status, WNOHANG) == 0) {
        UserProgram program(helper);
        if (program.waitStatus() == W_EXITCODE(5, 0)) {
            ++worked;
        } else {
            EXPECT_THAT(program.output(), HasSubstr("its file lacks the set-user-ID bit"));
        }
    }
    EXPECT_GT(worked, 0);
    expectInstalled("#!/bin/sh\nexit 5\n");
}

TEST_F(InstallHelperTest, replacesLinksAtTheTargetsWithoutFollowingThem) {
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

TEST_F(InstallHelperTest, installsTheBuiltBundleFromASourceTree) {
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
                  "there is no application next to " + tree +
                      "/scripts. Build it first, for example with scripts/run");
}

TEST_F(InstallHelperTest, ignoresTheCallersFolderUmaskAndSearchPath) {
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

} // namespace
} // namespace kestrelnet
