// SPDX-License-Identifier: MIT
// The descriptor is a pidfd: it stands for one process, also after the kernel has given the
// identifier to another.
#include "privileged/Starter.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// The parent of process `pid`; -1 when there is no such process.
pid_t parentOf(pid_t pid) {
    std::array<char, 32> path{};
    std::array<char, 256> text{};
    std::snprintf(path.data(), path.size(), "/proc/%d/stat", pid);
    const int file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return -1;
    }
    const ssize_t size = ::read(file, text.data(), text.size() - 1);
    ::close(file);
    // "PID (NAME) STATE PARENT ..."; the name has at most 15 bytes, any bytes.
    const char* const end = size > 0 ? std::strrchr(text.data(), ')') : nullptr;
    pid_t parent = -1;
    if (end == nullptr || std::sscanf(end, ") %*c %d", &parent) != 1) {
        return -1;
    }
    return parent;
}

/// Watches the parent of `child`, which must not have changed since the watch began.
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

} // namespace kestrelnet::privileged
