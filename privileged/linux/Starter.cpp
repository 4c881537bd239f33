// SPDX-License-Identifier: MIT
// The descriptor is a pidfd: it stands for one process, also after the kernel has given the
// identifier to another.
#include "privileged/Starter.h"

#include "privileged/linux/ProcFile.h"

#include <cstdlib>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// The parent of process `pid`; -1 when there is no such process.
pid_t parentOf(pid_t pid) {
    const std::string status = readProcFile("/proc/" + std::to_string(pid) + "/status");
    const std::string name = "\nPPid:\t";
    const std::size_t at = status.find(name);
    return at == std::string::npos
               ? -1
               : static_cast<pid_t>(std::strtol(status.c_str() + at + name.size(), nullptr, 10));
}

/// Watches the process that `parentOfChild` returns, which must not change meanwhile.
template <typename ParentOfChild>
int watchParent(const ParentOfChild& parentOfChild) {
    const pid_t parent = parentOfChild();
    const int watch = parent > 0 ? static_cast<int>(::syscall(SYS_pidfd_open, parent, 0)) : -1;
    // The kernel gives orphans a new parent, which belongs to another session than they do.
    if (watch >= 0 && (parentOfChild() != parent || ::getsid(parent) != ::getsid(0))) {
        ::close(watch);
        return -1;
    }
    return watch;
}

} // namespace

int watchStarter() {
    return watchParent([] { return ::getppid(); });
}

int watchStarterOfParent() {
    const pid_t parent = ::getppid();
    // Only while the parent lives is the identifier its own.
    return watchParent([parent] { return ::getppid() == parent ? parentOf(parent) : -1; });
}

int inheritWatch(int watch) {
    return watch;
}

} // namespace kestrelnet::privileged
