// SPDX-License-Identifier: MIT
#include "privileged/Starter.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// Whoever adopts orphans is no starter, and leads or belongs to another session than they do.
bool isOrphan(pid_t parent) {
    return ::getsid(parent) != ::getsid(0);
}

} // namespace

int watchStarter() {
    const pid_t parent = ::getppid();
    const int starter = parent > 0 ? static_cast<int>(::syscall(SYS_pidfd_open, parent, 0)) : -1;
    if (starter >= 0 && (::getppid() != parent || isOrphan(parent))) {
        ::close(starter);
        return -1;
    }
    return starter;
}

} // namespace kestrelnet::privileged
