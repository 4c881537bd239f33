// SPDX-License-Identifier: MIT
// The cases in which the helper refuses to run the client, and its messages.
#include "tests/privileged/HelperTest.h"

#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

namespace fs = std::filesystem;

/// The message that reports `problem` of the client.
std::string aboutClient(const std::string& problem) {
    return "Kestrelnet helper: /Library/PrivilegedHelperTools/kestrelnet-client " + problem +
           "; install the helper again.\n";
}

const std::string notRoots =
    aboutClient("does not belong to root, or lies in a folder that does not");
const std::string writable =
    aboutClient("can be replaced by others than root, or lies in a folder where it can");
const std::string linked =
    aboutClient("is, or lies behind, a symbolic link or something that is no folder");

class HelperRefusalTest : public HelperTest {
  protected:
    void SetUp() override {
        HelperTest::SetUp();
        installClient("script");
    }

    void TearDown() override {
        HelperTest::TearDown();
        EXPECT_FALSE(client_->pid()) << "the client ran";
    }
};

TEST_F(HelperRefusalTest, refusesAnyArgument) {
    for (const std::string argument : {"", "--help", "-c", clientPath}) {
        EXPECT_EQ(refusal({.arguments = {"helper", argument}}),
                  "Kestrelnet helper: it takes no arguments.\n");
    }
}

TEST_F(HelperRefusalTest, refusesAMissingClient) {
    fs::remove(clientPath);
    EXPECT_EQ(refusal(), aboutClient("is missing"));
}

TEST_F(HelperRefusalTest, refusesAClientThatTheUserOwns) {
    ASSERT_EQ(::chown(clientPath, rootWorld::user.uid, 0), 0);
    EXPECT_EQ(refusal(), notRoots);
}

TEST_F(HelperRefusalTest, refusesAClientThatOthersMayWrite) {
    for (const mode_t mode : {0775U, 0757U, 0777U, 01757U, 04757U}) {
        ASSERT_EQ(::chmod(clientPath, mode), 0);
        EXPECT_EQ(refusal(), writable) << std::oct << mode;
    }
}

class HelperFolderTest : public HelperRefusalTest, public testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        HelperRefusalTest::SetUp();
        ASSERT_EQ(::chmod(GetParam(), 0755), 0);
    }
    void TearDown() override {
        EXPECT_EQ(::chown(GetParam(), 0, 0), 0);
        EXPECT_EQ(::chmod(GetParam(), 0755), 0);
        HelperRefusalTest::TearDown();
    }
};

INSTANTIATE_TEST_SUITE_P(Folders, HelperFolderTest,
                         testing::Values("/", "/Library", "/Library/PrivilegedHelperTools"));

TEST_P(HelperFolderTest, refusesAFolderThatOthersMayWrite) {
    for (const mode_t mode : {0775U, 0757U, 01777U}) {
        ASSERT_EQ(::chmod(GetParam(), mode), 0);
        EXPECT_EQ(refusal(), writable) << std::oct << mode;
    }
}

TEST_P(HelperFolderTest, refusesAFolderThatTheUserOwns) {
    ASSERT_EQ(::chown(GetParam(), rootWorld::user.uid, 0), 0);
    EXPECT_EQ(refusal(), notRoots);
}

TEST_F(HelperRefusalTest, refusesALinkInPlaceOfTheClient) {
    fs::rename(clientPath, "/Library/elsewhere");
    fs::rename(std::string(clientPath) + ".arguments", "/Library/elsewhere.arguments");
    fs::create_symlink("/Library/elsewhere", clientPath);
    EXPECT_EQ(refusal(), linked);
}

TEST_F(HelperRefusalTest, refusesALinkInPlaceOfAFolder) {
    // The helper itself is reached through the link.
    fs::rename("/Library", "/elsewhere");
    fs::create_directory_symlink("/elsewhere", "/Library");
    EXPECT_EQ(refusal(), linked);
    fs::remove("/Library");
    fs::rename("/elsewhere", "/Library");
}

TEST_F(HelperRefusalTest, refusesAClientThatIsNoProgram) {
    ASSERT_EQ(::chmod(clientPath, 0644), 0);
    EXPECT_EQ(refusal(), aboutClient("is no program"));
    fs::remove(clientPath);
    fs::create_directory(clientPath);
    EXPECT_EQ(refusal(), aboutClient("is no program"));
    fs::remove(clientPath);
    ASSERT_EQ(::mkfifo(clientPath, 0755), 0);
    EXPECT_EQ(refusal(), aboutClient("is no program"));
}

TEST_F(HelperRefusalTest, reportsAClientThatCannotBeExecuted) {
    installClientText("neither a script nor a program");
    EXPECT_EQ(refusal(), "Kestrelnet helper: the client cannot be run: Exec format error.\n");
    installClientText("#!/no/such/interpreter\n");
    EXPECT_EQ(refusal(),
              "Kestrelnet helper: the client cannot be run: No such file or directory.\n");
}

TEST_F(HelperRefusalTest, refusesToRunWithoutTheSetUserIDBit) {
    ASSERT_EQ(::chmod(helperPath, 0755), 0);
    EXPECT_THAT(refusal(), AllOf(StartsWith("Kestrelnet helper: it has no rights of root: "),
                                 HasSubstr("set-user-ID"), HasSubstr("install it again")));
}

TEST_F(HelperRefusalTest, refusesToRunFromAFileSystemMountedNosuid) {
    ASSERT_EQ(::mount("/Library", "/Library", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(::mount(nullptr, "/Library", nullptr, MS_BIND | MS_REMOUNT | MS_NOSUID, nullptr), 0);
    EXPECT_THAT(refusal(), AllOf(StartsWith("Kestrelnet helper: it has no rights of root: "),
                                 HasSubstr("\"nosuid\"")));
    ASSERT_EQ(::umount("/Library"), 0);
}

TEST_F(HelperRefusalTest, refusesToRunWithNoNewPrivileges) {
    EXPECT_THAT(refusal({.prepare = [] { ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0); }}),
                AllOf(StartsWith("Kestrelnet helper: it has no rights of root: "),
                      HasSubstr("\"no new privileges\"")));
}

TEST_F(HelperRefusalTest, refusesWhereTheSystemPermitsNoNamespaces) {
    const std::string user = std::to_string(rootWorld::user.uid);
    EXPECT_EQ(runAsRoot("setpriv --bounding-set=-sys_admin --reuid=" + user + " --regid=" + user +
                        " --clear-groups " + helperPath + " >/tmp/output 2>&1"),
              1);
    EXPECT_EQ(readFile("/tmp/output"), "Kestrelnet helper: cannot start, this system, or the "
                                       "container that it runs in, permits no PID namespaces.\n");
    EXPECT_TRUE(nothingIsLeftInTime());
}

TEST_F(HelperTest, runsWithAnEmptyArgumentList) {
    // The kernel then passes one empty argument.
    const FakeClient& client = installClient("script");
    start(client, {.arguments = {}});
    EXPECT_EQ(processLine(*client.pid(), "status", "Uid:"), "0\t0\t0\t0");
    client.exit(0);
    EXPECT_EQ(program->waitStatus(), 0);
}

TEST_F(HelperRefusalTest, refusesToStartAfterItsStarterHasEnded) {
    UserProgram orphan(helperPath, {.prepare = [] {
                           // The parent ends at once; the child becomes the helper.
                           if (::fork() != 0) {
                               ::_exit(0);
                           }
                           while (::getppid() != 1) {
                           }
                       }});
    EXPECT_EQ(orphan.output(), "Kestrelnet helper: what started it has ended.\n");
    EXPECT_TRUE(nothingIsLeftInTime());
}

TEST_F(HelperRefusalTest, refusesToStartWhenNobodyReadsItsOutput) {
    program = std::make_unique<UserProgram>(helperPath, Options{.prepare = [] {
                                                int ends[2];
                                                if (::pipe(ends) == 0) {
                                                    ::dup2(ends[1], STDOUT_FILENO);
                                                    ::close_range(3, ~0U, 0);
                                                }
                                            }});
    EXPECT_EQ(program->output(), "Kestrelnet helper: what started it has ended.\n");
    EXPECT_EQ(program->waitStatus(), W_EXITCODE(1, 0));
}

} // namespace
} // namespace kestrelnet
