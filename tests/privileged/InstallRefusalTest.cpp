// SPDX-License-Identifier: MIT
// Refused and failed installations. None leaves a partial file.
#include "tests/privileged/InstallTest.h"

#include <filesystem>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

using InstallRefusalTest = InstallTest;

TEST_F(InstallRefusalTest, namesTheSearchedPlacesWhenThereIsNoClient) {
    expectRefusal(run(), "there is no kestrelnet-client to install. It was searched for at " +
                             bundledClient + ", and " + systemClient);
    expectRefusal(runFor(rootWorld::user),
                  "there is no kestrelnet-client to install. It was searched for at " +
                      bundledClient + ", " + ownClient + ", and " + systemClient);
    EXPECT_FALSE(fs::exists("/Library"));
}

TEST_F(InstallRefusalTest, aFailureKeepsAnEarlierInstallation) {
    write(systemClient, "a client");
    EXPECT_EQ(run().status, 0);
    write(systemClient, "");
    EXPECT_EQ(run().status, 1);
    expectInstalled("a client");
    fs::remove(systemClient);
    EXPECT_EQ(run().status, 1);
    expectInstalled("a client");
}

TEST_F(InstallRefusalTest, refusesAClientThatIsEmptyOrNotAFile) {
    fs::create_directory(systemClient);
    expectRefusal(run(), systemClient + " is not a file");
    fs::remove(systemClient);
    ASSERT_EQ(::mkfifo(systemClient.c_str(), 0755), 0);
    expectRefusal(run(), systemClient + " is not a file");
    fs::remove(systemClient);
    write(systemClient, "");
    expectRefusal(run(), systemClient + " is empty");
}

class InstallOwnClientTest : public InstallTest {
  protected:
    void SetUp() override {
        InstallTest::SetUp();
        write(systemClient, "the system's");
        write(ownClient, "the user's");
    }
    void TearDown() override {
        InstallTest::TearDown();
        fs::remove_all(rootWorld::user.home + "/.kestrelnet");
    }
};

TEST_F(InstallOwnClientTest, refusesAClientThatTheUserCannotRead) {
    ASSERT_EQ(::chmod(ownClient.c_str(), 0600), 0);
    expectRefusal(runFor(rootWorld::user), ownClient + " cannot be read as the user who asked");
}

TEST_F(InstallOwnClientTest, doesNotCopyAFileOfRootsThroughALink) {
    write("/root/secret", "only root may know", 0600);
    fs::remove(ownClient);
    fs::create_symlink("/etc/shadow", ownClient);
    expectRefusal(runFor(rootWorld::user), ownClient + " cannot be read as the user who asked");
    // A file in a folder that the user cannot enter does not exist for the user.
    fs::remove(ownClient);
    fs::create_symlink("/root/secret", ownClient);
    ASSERT_EQ(::chmod("/root", 0700), 0);
    EXPECT_EQ(runFor(rootWorld::user).status, 0);
    expectInstalled("the system's");
}

TEST_F(InstallOwnClientTest, followsALinkToAFileThatTheUserCanRead) {
    write("/opt/vendor/client", "a vendor's");
    fs::remove(ownClient);
    fs::create_symlink("/opt/vendor/client", ownClient);
    EXPECT_EQ(runFor(rootWorld::user).status, 0);
    expectInstalled("a vendor's");
}

TEST_F(InstallRefusalTest, refusesArguments) {
    write(systemClient, "a client");
    expectRefusal(run({}, "--help"), "the only argument of install-helper.sh is \"upgrade\"");
    expectRefusal(run({}, "upgrade upgrade"),
                  "the only argument of install-helper.sh is \"upgrade\"");
    expectRefusal(run({}, "''"), "the only argument of install-helper.sh is \"upgrade\"");
}

TEST_F(InstallRefusalTest, refusesToRunWithoutRootRights) {
    write(systemClient, "a client");
    UserProgram program("/bin/bash", {.arguments = {"bash", script}});
    EXPECT_EQ(program.output(),
              "Kestrelnet: the helper must be installed as root; run this script with sudo.\n");
    EXPECT_EQ(program.waitStatus(), W_EXITCODE(1, 0));
    EXPECT_FALSE(fs::exists("/Library"));
}

TEST_F(InstallRefusalTest, refusesABundleWithoutAHelper) {
    write(systemClient, "a client");
    fs::remove(bundledHelper);
    expectRefusal(run(), bundledHelper + " is not a file");
}

TEST_F(InstallRefusalTest, refusesAFolderThatOthersCanChange) {
    write(systemClient, "a client");
    fs::create_directories(folder);
    for (const std::string part : {"/", "/Library", folder.c_str()}) {
        const std::string message =
            part + " can be changed by users other than root. Make root its owner and 755 "
                   "its mode, then install again";
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

TEST_F(InstallRefusalTest, refusesALinkOrAFileInPlaceOfAFolder) {
    write(systemClient, "a client");
    fs::create_directory("/Library");
    fs::create_directory("/tmp/elsewhere");
    fs::create_symlink("/tmp/elsewhere", folder);
    expectRefusal(run(), folder + " is not a folder. Remove it, then install again");
    fs::remove(folder);
    fs::create_symlink("/nowhere", folder);
    expectRefusal(run(), folder + " is not a folder. Remove it, then install again");
    fs::remove(folder);
    write(folder, "a file");
    EXPECT_EQ(run().status, 1);
    fs::remove(folder);
    fs::create_directories(helper);
    EXPECT_EQ(run().errors,
              "Kestrelnet: " + helper + " is a folder. Remove it, then install again.\n");
    EXPECT_THAT(names(folder), ElementsAre("com.kestrelnetvpn.tunnel"));
}

TEST_F(InstallRefusalTest, refusesAFileSystemMountedNosuid) {
    write(systemClient, "a client");
    fs::create_directory("/Library");
    ASSERT_EQ(::mount("tmpfs", "/Library", "tmpfs", MS_NOSUID, "mode=0755"), 0);
    expectRefusal(run(), "the helper cannot work in " + folder +
                             ": its file system is mounted \"nosuid\"");
    ASSERT_EQ(::umount("/Library"), 0);
}

TEST_F(InstallRefusalTest, aFullDiskLeavesNoPartialFile) {
    write(systemClient, "a client");
    fs::create_directory("/Library");
    ASSERT_EQ(::mount("tmpfs", "/Library", "tmpfs", 0, "mode=0755,size=64k"), 0);
    const Outcome outcome = run();
    expectRefusal(outcome, bundledHelper + " could not be copied");
    ASSERT_EQ(::umount("/Library"), 0);
}

TEST_F(InstallRefusalTest, aTerminatedInstallationLeavesNoPartialFile) {
    // A copy that never ends, so that the signal arrives during it.
    fs::create_directories(fs::path(ownClient).parent_path());
    write(systemClient, "a client");
    write("/tmp/slow/cat", "#!/bin/sh\necho >/tmp/slow/begun\nexec tail -f /dev/null\n");
    ASSERT_EQ(::mount("/tmp/slow/cat", "/usr/bin/cat", nullptr, MS_BIND, nullptr), 0);
    // The reader of the copy may not have begun when the signal arrives.
    constexpr int rounds = 20;
    for (int round = 0; round < rounds; ++round) {
        fs::remove("/tmp/slow/begun");
        UserProgram program("/bin/bash", {.arguments = {"bash", script}, .who = root});
        EXPECT_TRUE(waitFor([] { return fs::exists("/tmp/slow/begun"); }));
        EXPECT_EQ(names(folder).size(), 1U);
        // To every process, as the root side of the prompt does.
        for (const auto& process : rootWorld::processes()) {
            ::kill(process.pid, SIGTERM);
        }
        EXPECT_EQ(program.waitStatus(), SIGTERM);
        EXPECT_TRUE(waitFor([] { return rootWorld::processes().empty(); }));
        EXPECT_THAT(names(folder), IsEmpty());
    }
    ASSERT_EQ(::umount("/usr/bin/cat"), 0);
}

} // namespace
} // namespace kestrelnet
