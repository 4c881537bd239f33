// SPDX-License-Identifier: MIT
// The system may give the identifier of an ended process to a new one. The test forces that in a
// process identifier namespace, where it can choose the identifier of a new process.
#include "platform/Process.h"

#include "tests/support/FakeClient.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

enum Outcome { spared = 0, notStarted = 20, notRecycled, signalled };

/// Waits for `pid` and returns its exit status, or the negative number of the signal that ended it.
int collect(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

/// Starts a child with the identifier `wanted`; it waits for a signal.
pid_t bystander(pid_t wanted) {
    std::ofstream("/proc/sys/kernel/ns_last_pid") << wanted - 1;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::alarm(30);
        for (;;) {
            ::pause();
        }
    }
    return pid;
}

Outcome signalTheEnded(const FakeClient& client) {
    const auto process = Process::create();
    process->executablePath = client.executable();
    if (process->run()) {
        return notStarted;
    }
    process->waitUntilExit();
    const pid_t pid = bystander(process->processIdentifier());
    process->terminate();
    process->kill(SIGKILL);
    // Only this signal may arrive.
    ::kill(pid, SIGUSR1);
    const int end = collect(pid);
    if (pid != process->processIdentifier()) {
        return notRecycled;
    }
    return end == -SIGUSR1 ? spared : signalled;
}

/// Root can create the namespace directly, other users only inside a user namespace, if that is
/// allowed.
bool enterNamespace() {
    return ::unshare(CLONE_NEWPID) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWPID) == 0;
}

TEST(RecycledIdentifierTest, aNewProcessWithTheIdentifierOfAnEndedOneGetsNoSignal) {
    constexpr int noNamespace = 77;
    const FakeClient client("exits-at-once");
    const pid_t outside = ::fork();
    if (outside == 0) {
        if (!enterNamespace()) {
            ::_exit(noNamespace);
        }
        const pid_t first = ::fork();
        ::_exit(first == 0 ? signalTheEnded(client) : collect(first));
    }
    const int outcome = collect(outside);
    if (outcome == noNamespace) {
        GTEST_SKIP() << "no process identifier namespace to be had";
    }
    EXPECT_EQ(outcome, spared);
}

} // namespace
} // namespace kestrelnet
