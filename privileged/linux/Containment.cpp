// SPDX-License-Identifier: MIT
// The containment is a PID namespace. The guard is its first process, process 1 in it.
#include "privileged/Containment.h"

#include "privileged/linux/ProcFile.h"

#include <cerrno>
#include <cstdlib>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet::privileged::containment {

namespace {

const char* reasonFor(int error) {
    switch (error) {
    case EPERM:
        return "this system, or the container that it runs in, permits no PID namespaces";
    case ENOSPC:
    case EUSERS:
        return "the limit on PID namespaces (user.max_pid_namespaces) is reached";
    case EINVAL:
    case ENOSYS:
        return "the kernel has no PID namespaces";
    default:
        return "the system has no memory for a PID namespace";
    }
}

/// The processes whose parent is this one.
std::vector<pid_t> topProcesses() {
    std::vector<pid_t> found;
    // Identifiers with a blank after each.
    const std::string list = readProcFile("/proc/self/task/1/children");
    for (std::size_t at = 0, blank = 0; (blank = list.find(' ', at)) != std::string::npos;
         at = blank + 1) {
        found.push_back(static_cast<pid_t>(std::strtol(list.c_str() + at, nullptr, 10)));
    }
    return found;
}

} // namespace

Forked fork() {
    if (::unshare(CLONE_NEWPID) != 0) {
        return {.problem = reasonFor(errno)};
    }
    const pid_t pid = ::fork();
    return {.pid = pid, .problem = pid < 0 ? "the system has no processes left" : nullptr};
}

const char* enter() {
    if (::unshare(CLONE_NEWNS) != 0) {
        return "this system, or the container that it runs in, permits no mount namespaces";
    }
    // Only this one mount leaves its peer group: the new /proc must not appear on the host.
    if (::mount(nullptr, "/proc", nullptr, MS_PRIVATE, nullptr) != 0 ||
        ::mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) {
        return "this system, or the container that it runs in, permits no /proc of the run's own";
    }
    return nullptr;
}

bool Processes::reap() {
    for (;;) {
        int status = 0;
        const pid_t ended = ::waitpid(-1, &status, WNOHANG);
        if (ended <= 0) {
            return ended == 0;
        }
        asked_.erase(ended);
        if (ended == main_) {
            hasMainEnded_ = true;
            mainEnd_ = RunEnd::fromWaitStatus(status);
            // The kernel may give the identifier to another process.
            main_ = -1;
        }
    }
}

void Processes::ask() {
    if (main_ > 0) {
        ask(main_);
    }
    for (const pid_t child : topProcesses()) {
        ask(child);
    }
}

RunEnd Processes::end() {
    return mainEnd_;
}

} // namespace kestrelnet::privileged::containment
