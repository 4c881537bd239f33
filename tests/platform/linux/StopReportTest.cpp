// SPDX-License-Identifier: MIT
// A system whose waitid reports stopped children to a caller that asks for ended ones only.
#include "platform/Process.h"

#include "tests/support/FakeClient.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::atomic<int> unwantedReports = 0;

} // namespace

/// Takes the place of the C library's function in this program.
extern "C" int waitid(idtype_t kind, id_t child, siginfo_t* report, int options) {
    const bool asksForEnd = (options & WEXITED) != 0;
    const long result = ::syscall(SYS_waitid, kind, child, report,
                                  asksForEnd ? options | WSTOPPED : options, nullptr);
    if (asksForEnd && result == 0 && report->si_code == CLD_STOPPED) {
        ++unwantedReports;
    }
    return static_cast<int>(result);
}

namespace kestrelnet {
namespace {

TEST(StopReportTest, aStoppedProcessHasNotEnded) {
    const FakeClient client("script");
    const auto process = Process::create();
    process->executablePath = client.executable();
    const auto calls = std::make_shared<std::atomic<int>>(0);
    process->terminationHandler = [calls](const std::shared_ptr<Process>&) { ++*calls; };
    ASSERT_FALSE(process->run());
    ASSERT_TRUE(waitFor([&] { return client.isReady(); }));
    process->kill(SIGSTOP);
    ASSERT_TRUE(waitFor([&] { return unwantedReports > 0; }));
    process->kill(SIGCONT);
    EXPECT_TRUE(process->isRunning());
    client.exit(7);
    process->waitUntilExit();
    EXPECT_EQ(process->terminationStatus(), 7);
    EXPECT_TRUE(client.isGone());
    EXPECT_TRUE(waitFor([&] { return calls.use_count() == 1; }));
    EXPECT_EQ(*calls, 1);
}

} // namespace
} // namespace kestrelnet
