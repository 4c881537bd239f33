// SPDX-License-Identifier: MIT
// The containment is a PID namespace. The guard is its first process, process 1 in it.
#include "privileged/Containment.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

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

std::vector<pid_t> topProcesses() {
    std::vector<pid_t> found;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> list(
        std::fopen("/proc/self/task/1/children", "re"), std::fclose);
    for (pid_t pid = 0; list && std::fscanf(list.get(), "%d", &pid) == 1;) {
        found.push_back(pid);
    }
    return found;
}

} // namespace kestrelnet::privileged::containment
