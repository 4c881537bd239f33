// SPDX-License-Identifier: MIT
// How long a run may take to end, and how often it is asked.
#include "tests/privileged/HelperTest.h"

#include <filesystem>
#include <signal.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

/// A client that cleans up for 2.7 s, and writes meanwhile. A signal to its `sleep` spoils it.
const std::string cleaningClient =
    "trap 'echo cleaning; sleep 2.7 && echo clean && : >/tmp/cleaned; exit 0' TERM\n"
    ": >/tmp/ready\nwhile :; do sleep 0.02; done\n";

/// A VPN that notes each SIGTERM, and ends half a second after the first.
const std::string vpn = "sh -c 'trap \"echo vpn >>/tmp/asked\" TERM; : >/tmp/ready; "
                        "until grep -q vpn /tmp/asked 2>/dev/null; do sleep 0.02; done; "
                        "for i in 1 2 3 4 5; do sleep 0.1; done' &\n";
/// A wrapper of it, which passes the signal on a little later.
const std::string wrapper =
    vpn + "trap 'echo wrapper >>/tmp/asked; sleep 0.2; kill -TERM $!' TERM\nwait\nwait\nwait\n";

class HelperGraceTest : public HelperTest {
  protected:
    void SetUp() override {
        HelperTest::SetUp();
        fs::remove("/tmp/cleaned");
        fs::remove("/tmp/asked");
    }
};

TEST_F(HelperGraceTest, aDisconnectLeavesTimeToCleanUp) {
    startScript(cleaningClient);
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->waitStatus(), 0);
    EXPECT_TRUE(fs::exists("/tmp/cleaned"));
}

TEST_F(HelperGraceTest, quittingLeavesTimeToCleanUp) {
    startScript(cleaningClient, {.hasOwnStarter = true});
    EXPECT_EQ(program->send(SIGTERM), 0);
    ::usleep(500'000);
    killStarter();
    EXPECT_TRUE(nothingIsLeftInTime());
    EXPECT_TRUE(fs::exists("/tmp/cleaned"));
}

TEST_F(HelperGraceTest, theEndOfTheSessionLeavesTimeToCleanUp) {
    // First the requests, to front and guard alike, then the end of every process of the user's.
    startScript(cleaningClient, {.hasOwnStarter = true});
    ::kill(guard(), SIGTERM);
    EXPECT_EQ(program->send(SIGTERM), 0);
    ::usleep(500'000);
    killStarter();
    EXPECT_EQ(program->send(SIGKILL), 0);
    EXPECT_TRUE(nothingIsLeftInTime());
    EXPECT_TRUE(fs::exists("/tmp/cleaned"));
}

TEST_F(HelperGraceTest, aWrapperAndItsVpnAreAskedOnceEach) {
    // A second SIGTERM would make the VPN skip its farewell.
    startScript(wrapper);
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_TRUE(program->waitStatus());
    EXPECT_EQ(readFile("/tmp/asked"), "wrapper\nvpn\n");
}

TEST_F(HelperGraceTest, aVpnWhoseWrapperEndsIsAskedOnce) {
    startScript(vpn + "wait\n");
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_TRUE(program->waitStatus());
    EXPECT_EQ(readFile("/tmp/asked"), "vpn\n");
}

} // namespace
} // namespace kestrelnet
