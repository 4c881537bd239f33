// SPDX-License-Identifier: MIT
// The PID namespace of a run: no process of the run outlives its guard, and the run has a /proc of
// its own.
#include "tests/privileged/HelperContainmentTest.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <signal.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

class HelperNamespaceTest : public HelperContainmentTest {};

TEST_F(HelperNamespaceTest, noProcessOutlivesAGuardThatIsKilled) {
    startScript("setsid -f sh -c 'trap \"\" TERM HUP INT; sleep 600; sleep 600'\n"
                "setsid -f setpriv --reuid=4711 --regid=4711 --clear-groups sleep 600\n"
                "(sh -c 'setsid sleep 600 & sleep 600' &)\n"
                "while ! pidof sleep >/dev/null || [ $(pidof sleep | wc -w) -lt 4 ]; do :; done\n"
                ": >/tmp/ready\nsleep 600\n");
    const auto start = Clock::now();
    ASSERT_EQ(::kill(guard(), SIGKILL), 0);
    EXPECT_EQ(program->waitStatus(), W_EXITCODE(1, 0));
    EXPECT_TRUE(timeUntilNothingIsLeft()) << testing::PrintToString(rootWorld::processes());
    EXPECT_LT(Clock::now() - start, 10s);
}

TEST_F(HelperNamespaceTest, theClientSeesItsOwnProcesses) {
    installClientText("#!/bin/bash\n"
                      "read -r self rest </proc/self/stat\n"
                      "[ \"$self\" = $$ ] && [ -d /proc/$$ ] || echo another identifier\n"
                      "ps -A -o comm= | sort -u\n");
    program = std::make_unique<UserProgram>(helperPath);
    EXPECT_EQ(program->output(), "bash\ncom.kestrelnetv\nps\nsort\n");
}

TEST_F(HelperNamespaceTest, mountsReachTheHostAndTheHostsReachTheClient) {
    ASSERT_EQ(::mount(nullptr, "/", nullptr, MS_REC | MS_SHARED, nullptr), 0);
    const std::string before = readFile("/proc/self/mountinfo");
    fs::create_directories("/srv/inner");
    fs::create_directories("/srv/outer");
    startScript("mount -t tmpfs inner /srv/inner\n: >/tmp/ready\n"
                "while ! [ -e /srv/outer/there ]; do sleep 0.02; done\n"
                "umount /srv/inner\nexit 3\n");
    const std::string during = readFile("/proc/self/mountinfo");
    EXPECT_THAT(during, testing::HasSubstr(" /srv/inner "));
    ASSERT_EQ(::mount("outer", "/srv/outer", "tmpfs", 0, nullptr), 0);
    ::close(::open("/srv/outer/there", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    EXPECT_EQ(program->waitStatus(), W_EXITCODE(3, 0));
    EXPECT_EQ(::umount("/srv/outer"), 0);
    // The run's /proc has never been seen here, and nothing is left.
    EXPECT_EQ(readFile("/proc/self/mountinfo"), before);
    const auto count = [](const std::string& text) {
        std::istringstream lines(text);
        std::string line;
        int found = 0;
        while (std::getline(lines, line)) {
            found += line.find(" /proc ") != std::string::npos ? 1 : 0;
        }
        return found;
    };
    EXPECT_EQ(count(during), count(before));
}

} // namespace
} // namespace kestrelnet
