// SPDX-License-Identifier: MIT
// The installation with macOS's commands. Stubs of them accept only what the BSD programs accept.
#include "tests/privileged/InstallTest.h"

#include <filesystem>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

class InstallMacTest : public InstallTest {
  protected:
    void SetUp() override {
        InstallTest::SetUp();
        addStub("uname", "[[ $* == -s ]] && echo Darwin");
        // On Linux the console is root's.
        addStub("stat", R"([[ $# == 3 && $1 == -f ]] || exit 1
case $2 in
%u) cat /tmp/console ;;
%Sg) exec /usr/bin/stat --format %G "$3" ;;
'%u:%g %Mp%Lp') exec /usr/bin/stat --format '%u:%g %04a' "$3" ;;
*) exit 1 ;;
esac)");
        addStub("id", R"([[ $# == 2 && $1 == -P ]] || exit 1
IFS=: read -r name password uid gid gecos home shell < <(/usr/bin/getent passwd "$2")
[[ $name ]] && echo "$name:$password:$uid:$gid::0:0:$gecos:$home:$shell")");
        addStub("sudo", R"([[ $1 == -n && $2 == -u && $3 == \#* && $4 == -g && $6 == -- ]] || exit 1
exec /usr/bin/setpriv --reuid "${3#?}" --regid "${5#?}" --clear-groups -- "${@:7}")");
        addStub("mount", "echo '/dev/disk1s1 on / (apfs, local, journaled)'");
        addStub("sync", "[[ $# == 0 ]]");
        for (const char* name : {"getent", "setpriv", "findmnt", "flock"}) {
            addStub(name, "exit 127");
        }
        for (const char* name : {"chmod", "chown", "mkdir", "mktemp", "mv", "rm"}) {
            // Options end at the first operand.
            addStub(name, R"(for argument in "$@"; do
    case $argument in
    --) [[ ! $operand ]] && break || exit 64 ;;
    --*) exit 64 ;;
    -?*) [[ ! $operand ]] || exit 64 ;;
    *) operand=yes ;;
    esac
done
exec "/usr/bin/${0##*/}" "$@")");
        }
        write("/tmp/console", std::to_string(rootWorld::user.uid));
        write(systemClient, "the system's");
        write(ownClient, "the user's");
    }
    void TearDown() override {
        InstallTest::TearDown();
        fs::remove_all(rootWorld::user.home + "/.kestrelnet");
    }
};

TEST_F(InstallMacTest, installsTheClientOfTheUserAtTheConsole) {
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    expectInstalled("the user's");
}

TEST_F(InstallMacTest, replacesAnEarlierInstallation) {
    EXPECT_EQ(run().status, 0);
    changeBundledHelper();
    EXPECT_EQ(run().status, 0);
    expectInstalled("the user's");
}

TEST_F(InstallMacTest, prefersTheUserOfSudo) {
    EXPECT_EQ(run({{"SUDO_UID", std::to_string(rootWorld::stranger.uid)}}).status, 0);
    expectInstalled("the system's");
}

TEST_F(InstallMacTest, installsTheSystemsClientWhenNobodyIsAtTheConsole) {
    write("/tmp/console", "0");
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    expectInstalled("the system's");
}

TEST_F(InstallMacTest, refusesAFileSystemMountedNosuid) {
    write("/usr/sbin/mount", "#!/bin/bash\necho '/dev/disk1s1 on / (apfs, local, nosuid)'\n");
    fs::create_directories(folder);
    expectRefusal(run(), "the helper cannot work in " + folder +
                             ": its file system is mounted \"nosuid\"");
}

} // namespace
} // namespace kestrelnet
