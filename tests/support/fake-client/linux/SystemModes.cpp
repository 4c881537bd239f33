// SPDX-License-Identifier: MIT
#include "tests/support/fake-client/Control.h"
#include "tests/support/fake-client/Modes.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace fakeClient {

namespace {

void exitAtTermination(int /*signal*/) {
    std::_Exit(0);
}

/// Starts a child that ignores SIGTERM and waits in the kernel for the end of its own child, as
/// after vfork(). Its state is "D", uninterruptible sleep.
void keepUninterruptible(std::string_view /*argument*/) {
    signal(SIGTERM, exitAtTermination);
    if (fork() == 0) {
        signal(SIGTERM, SIG_IGN);
        publishProcess("grandchild");
        if (syscall(SYS_clone, CLONE_VFORK | SIGCHLD, nullptr, nullptr, nullptr, nullptr) == 0) {
            openControl();
            obey();
        }
        std::_Exit(0);
    }
}

constexpr std::array modes{
    Mode{"keeps-uninterruptible", keepUninterruptible}, // stays, with a child in state D
};

} // namespace

std::span<const Mode> systemModes() {
    return modes;
}

} // namespace fakeClient
