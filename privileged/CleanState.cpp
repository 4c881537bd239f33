// SPDX-License-Identifier: MIT
#include "privileged/CleanState.h"

#include "privileged/Signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

struct Limit {
    decltype(RLIMIT_CORE) resource;
    rlim_t soft;
    rlim_t hard;
};

constexpr rlim_t none = RLIM_INFINITY;
constexpr rlim_t kibi = 1024;

constexpr std::array limits{
    Limit{RLIMIT_AS, none, none},
    Limit{RLIMIT_CORE, 0, 0},
    Limit{RLIMIT_CPU, none, none},
    Limit{RLIMIT_DATA, none, none},
    Limit{RLIMIT_FSIZE, none, none},
    Limit{RLIMIT_LOCKS, none, none},
    Limit{RLIMIT_MEMLOCK, 8 * kibi* kibi, 8 * kibi* kibi},
    Limit{RLIMIT_MSGQUEUE, 800 * kibi, 800 * kibi},
    Limit{RLIMIT_NICE, 0, 0},
    Limit{RLIMIT_NOFILE, kibi, 4 * kibi},
    Limit{RLIMIT_NPROC, none, none},
    Limit{RLIMIT_RSS, none, none},
    Limit{RLIMIT_RTPRIO, 0, 0},
    Limit{RLIMIT_RTTIME, none, none},
    Limit{RLIMIT_SIGPENDING, none, none},
    Limit{RLIMIT_STACK, 8 * kibi* kibi, none},
};

/// Where root may not raise a limit, as in some containers, uses the highest allowed value.
bool reset(const Limit& limit) {
    rlimit value{.rlim_cur = limit.soft, .rlim_max = limit.hard};
    if (::setrlimit(limit.resource, &value) == 0) {
        return true;
    }
    rlimit present{};
    if (errno != EPERM || ::getrlimit(limit.resource, &present) != 0) {
        return false;
    }
    value.rlim_max = std::min(limit.hard, present.rlim_max);
    value.rlim_cur = std::min(limit.soft, value.rlim_max);
    return ::setrlimit(limit.resource, &value) == 0;
}

bool resetLimits() {
    return std::all_of(limits.begin(), limits.end(), reset);
}

bool resetTimers() {
    constexpr itimerval stopped{};
    for (const auto timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF}) {
        if (::setitimer(timer, &stopped, nullptr) != 0) {
            return false;
        }
    }
    return true;
}

/// A user may mark processes to be killed first when memory runs out.
void resetMemoryScore() {
    const int file = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file >= 0) {
        // A failure is ignored: the score matters to this run only.
        [[maybe_unused]] const ssize_t size = ::write(file, "0", 1);
        ::close(file);
    }
}

} // namespace

const char* cleanDescriptors() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        // Only missing streams are opened: the caller's limit may allow no further descriptor.
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) != stream) {
            return "the standard streams could not be set up";
        }
    }
    return ::close_range(STDERR_FILENO + 1, ~0U, 0) == 0 ? nullptr
                                                         : "descriptors could not be closed";
}

const char* cleanSurroundings() {
    signals::reset();
    ::umask(S_IWGRP | S_IWOTH);
    resetMemoryScore();
    constexpr sched_param ordinary{};
    if (!resetTimers()) {
        return "timers could not be stopped";
    }
    if (!resetLimits()) {
        return "resource limits could not be reset";
    }
    if (::sched_setscheduler(0, SCHED_OTHER, &ordinary) != 0 ||
        ::setpriority(PRIO_PROCESS, 0, 0) != 0) {
        return "the priority could not be reset";
    }
    if (::personality(PER_LINUX) == -1 || ::prctl(PR_SET_DUMPABLE, 0) != 0) {
        return "the process's settings could not be reset";
    }
    if (::chdir("/") != 0) {
        return "the root folder could not be entered";
    }
    return nullptr;
}

const char* becomeRoot() {
    if (::setgroups(0, nullptr) != 0 || ::setresgid(0, 0, 0) != 0 || ::setresuid(0, 0, 0) != 0) {
        return "root's rights could not be taken in full";
    }
    return nullptr;
}

} // namespace kestrelnet::privileged
