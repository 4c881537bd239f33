// SPDX-License-Identifier: MIT
// The containment is a process group, led by the main process of the run.
//
// The main process is reaped last. Until then the kernel gives its identifier, which is also the
// group's, to no other process, so that no signal can reach another group.
#include "privileged/Containment.h"

#include "privileged/posix/ProcessGroup.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace kestrelnet::privileged::containment {

Forked fork() {
    const pid_t pid = ::fork();
    return {.pid = pid, .problem = pid < 0 ? "the system has no processes left" : nullptr};
}

const char* enter() {
    return nullptr;
}

bool Processes::reap() {
    siginfo_t ended{};
    const auto leader = static_cast<id_t>(main_);
    hasMainEnded_ =
        hasMainEnded_ || (::waitid(P_PID, leader, &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
                          ended.si_pid == main_);
    return !hasMainEnded_ || processGroup::isPopulated(main_);
}

void Processes::ask() {
    ask(hasMainEnded_ ? -main_ : main_);
}

RunEnd Processes::end() {
    using namespace std::chrono_literals;
    // The main process may not have made its group yet.
    ::kill(main_, SIGKILL);
    // Not every kernel signals a whole group at once: a process may be forked meanwhile. A process
    // that waits for a device may take long to end.
    for (auto pause = 1ms; processGroup::isPopulated(main_); pause = std::min(2 * pause, 1000ms)) {
        ::kill(-main_, SIGKILL);
        std::this_thread::sleep_for(pause);
    }
    int status = 0;
    while (::waitpid(main_, &status, 0) < 0 && errno == EINTR) {
    }
    mainEnd_ = RunEnd::fromWaitStatus(status);
    return mainEnd_;
}

} // namespace kestrelnet::privileged::containment
