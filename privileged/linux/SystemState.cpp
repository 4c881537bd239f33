// SPDX-License-Identifier: MIT
#include "privileged/SystemState.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <string_view>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet::privileged::systemState {

namespace {

constexpr rlim_t none = RLIM_INFINITY;
constexpr rlim_t kibi = 1024;

constexpr std::array limitsOfRun{
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

/// Writes `value` to a file of this process's settings. A failure is ignored: these settings matter
/// only to the run itself.
void writeSetting(const char* path, std::string_view value) {
    const int file = ::open(path, O_WRONLY | O_CLOEXEC);
    if (file >= 0) {
        [[maybe_unused]] const ssize_t size = ::write(file, value.data(), value.size());
        ::close(file);
    }
}

/// Whether a system call has succeeded, or does not exist here and so has not been used before.
bool isDoneOrUnknown(long result) {
    return result >= 0 || errno == ENOSYS;
}

bool resetScheduling() {
    constexpr sched_param ordinary{};
    // A thousand seconds here would delay every deadline of the guard. Zero would restore the value
    // that the caller had when it started this process.
    constexpr unsigned long slackInNanoseconds = 50'000;
    constexpr int thisProcess = 1;
    cpu_set_t everyProcessor;
    std::memset(&everyProcessor, 0xFF, sizeof everyProcessor);
    return ::sched_setscheduler(0, SCHED_OTHER, &ordinary) == 0 &&
           ::sched_setaffinity(0, sizeof everyProcessor, &everyProcessor) == 0 &&
           isDoneOrUnknown(::syscall(SYS_ioprio_set, thisProcess, 0, 0)) &&
           ::prctl(PR_SET_TIMERSLACK, slackInNanoseconds) == 0;
}

bool resetMemory() {
    constexpr int defaultPolicy = 0;
    writeSetting("/proc/self/oom_score_adj", "0");
    // The kernel's default.
    writeSetting("/proc/self/coredump_filter", "0x33");
    // The kernel may have been built without these two.
    ::prctl(PR_SET_THP_DISABLE, 0, 0, 0, 0);
    ::prctl(PR_MCE_KILL, PR_MCE_KILL_CLEAR, 0, 0, 0);
    return isDoneOrUnknown(::syscall(SYS_set_mempolicy, defaultPolicy, nullptr, 0));
}

/// The kernel kills a process without this right when it asks for the time. Only some processors
/// have the setting.
bool allowTimeStampCounter() {
    return ::prctl(PR_SET_TSC, PR_TSC_ENABLE) == 0 || errno == EINVAL;
}

} // namespace

std::span<const Limit> limits() {
    return limitsOfRun;
}

const char* reset() {
    if (!allowTimeStampCounter()) {
        return "the right to read the time could not be restored";
    }
    if (!resetScheduling()) {
        return "the scheduling could not be reset";
    }
    if (!resetMemory()) {
        return "the memory policy could not be reset";
    }
    if (::personality(PER_LINUX) == -1 || ::prctl(PR_SET_DUMPABLE, 0) != 0) {
        return "the process's settings could not be reset";
    }
    return nullptr;
}

} // namespace kestrelnet::privileged::systemState
