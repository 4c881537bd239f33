// SPDX-License-Identifier: MIT
// A process of a run that is in uninterruptible sleep, state "D", does not keep the guard busy.
#include "tests/privileged/HelperTest.h"
#include "tests/support/HangingFile.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <signal.h>
#include <sys/wait.h>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class HelperUninterruptibleTest : public HelperTest {
  protected:
    static char stateOf(pid_t pid) { return processLine(pid, "status", "State:").front(); }

    /// How often `pid` has given up the processor to wait; nothing when it has ended.
    static std::optional<int> waits(pid_t pid) {
        const std::string count = processLine(pid, "status", "voluntary_ctxt_switches:");
        return count.find_first_not_of("0123456789") == std::string::npos
                   ? std::optional(std::stoi(count))
                   : std::nullopt;
    }

    /// How often `pid` wakes up within a second.
    static int wakeUps(pid_t pid) {
        const auto before = waits(pid);
        const auto end = Clock::now() + 1s;
        EXPECT_TRUE(waitFor([end] { return Clock::now() >= end; }));
        const auto after = waits(pid);
        EXPECT_TRUE(before && after);
        return after.value_or(0) - before.value_or(0);
    }

    /// Starts a client with a child in state "D" that ignores SIGTERM; returns the child.
    pid_t startUninterruptible() {
        const FakeClient& client = installClient("keeps-uninterruptible");
        start(client);
        EXPECT_TRUE(waitFor([&client] { return client.grandchild().has_value(); }));
        const pid_t child = client.grandchild().value_or(-1);
        EXPECT_TRUE(waitFor([child] { return stateOf(child) == 'D'; }));
        return child;
    }
};

TEST_F(HelperUninterruptibleTest, theGuardSleepsBesideAProcessThatCannotBeInterrupted) {
    const pid_t child = startUninterruptible();
    EXPECT_LE(wakeUps(guard()), 1);
    EXPECT_EQ(stateOf(child), 'D');
}

TEST_F(HelperUninterruptibleTest, theGuardWakesUpSeldomWhileItWaitsForSuchAProcess) {
    startUninterruptible();
    const pid_t watched = guard();
    const int before = waits(watched).value_or(0);
    int last = before;
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_TRUE(waitFor([&] {
        const auto now = waits(watched);
        last = now.value_or(last);
        return !now;
    }));
    // It looks for orphans every tenth of a second, for 3.3 seconds.
    EXPECT_LE(last - before, 50);
    EXPECT_GE(last - before, 1);
    EXPECT_EQ(program->waitStatus(), 0);
}

TEST_F(HelperUninterruptibleTest, theGuardSleepsWhileTheKernelCannotEndAProcess) {
    auto file = std::make_unique<HangingFile>();
    if (!file->isMounted()) {
        GTEST_SKIP() << "this system has no FUSE";
    }
    startScript("sh -c 'trap \"\" TERM; echo text >>" + std::string(HangingFile::path) +
                "' &\n: >/tmp/ready\nexec sleep 600\n");
    EXPECT_TRUE(waitFor([] { return std::filesystem::exists(HangingFile::isWritten); }));
    const pid_t watched = guard();
    EXPECT_EQ(program->send(SIGTERM), 0);
    // The time is over: the guard has exited, and the kernel waits for the process that hangs.
    EXPECT_TRUE(waitFor(
        [watched] { return readFile("/proc/" + std::to_string(watched) + "/cmdline").empty(); }));
    EXPECT_LE(wakeUps(watched), 1);
    // The application kills the front, which needs no process of root's for its end.
    EXPECT_EQ(program->send(SIGKILL), 0);
    EXPECT_EQ(program->waitStatus(), SIGKILL);
    EXPECT_TRUE(isAlive(watched)) << "nothing has held the guard";
    file.reset();
    EXPECT_TRUE(timeUntilNothingIsLeft());
}

} // namespace
} // namespace kestrelnet
