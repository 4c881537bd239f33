// SPDX-License-Identifier: MIT
#include "privileged/CleanState.h"

#include "privileged/Descriptors.h"
#include "privileged/Signals.h"
#include "privileged/SystemState.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// Where root may not raise a limit, as in some containers, uses the highest allowed value.
bool reset(const systemState::Limit& limit) {
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
    const auto limits = systemState::limits();
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

} // namespace

const char* cleanDescriptors() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        // Only missing streams are opened: the caller's limit may allow no further descriptor.
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) != stream) {
            return "the standard streams could not be set up";
        }
    }
    return descriptors::closeFrom(STDERR_FILENO + 1) ? nullptr : "descriptors could not be closed";
}

const char* cleanSurroundings() {
    signals::reset();
    ::umask(S_IWGRP | S_IWOTH);
    if (!resetTimers()) {
        return "timers could not be stopped";
    }
    // Before the rest, which may need descriptors.
    if (!resetLimits()) {
        return "resource limits could not be reset";
    }
    if (const char* const problem = systemState::reset()) {
        return problem;
    }
    if (::setpriority(PRIO_PROCESS, 0, 0) != 0) {
        return "the priority could not be reset";
    }
    if (::chdir("/") != 0) {
        return "the root folder could not be entered";
    }
    return nullptr;
}

} // namespace kestrelnet::privileged
