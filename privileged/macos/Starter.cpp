// SPDX-License-Identifier: MIT
// The descriptor is a kernel queue that reports the end of the process. A child does not inherit
// it.
#include "privileged/Starter.h"

#include <libproc.h>
#include <sys/event.h>
#include <sys/proc_info.h>
#include <sys/types.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// The kernel gives orphans this parent.
constexpr pid_t launchd = 1;

/// The parent of process `pid`; -1 when there is no such process.
pid_t parentOf(pid_t pid) {
    proc_bsdshortinfo info{};
    constexpr int size = sizeof info;
    return ::proc_pidinfo(pid, PROC_PIDT_SHORTBSDINFO, 0, &info, size) == size
               ? static_cast<pid_t>(info.pbsi_ppid)
               : -1;
}

/// A queue for the end of process `pid`; -1 when there is no such process.
int queueForEndOf(pid_t pid) {
    const int queue = ::kqueue();
    struct kevent end {};
    EV_SET(&end, pid, EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    if (queue >= 0 && ::kevent(queue, &end, 1, nullptr, 0, nullptr) != 0) {
        ::close(queue);
        return -1;
    }
    return queue;
}

/// Watches the process that `parentOfChild` returns, which must not change meanwhile.
template <typename ParentOfChild>
int watchParent(const ParentOfChild& parentOfChild) {
    const pid_t parent = parentOfChild();
    const int queue = parent > launchd ? queueForEndOf(parent) : -1;
    // The kernel may have given the identifier to another process in between.
    if (queue >= 0 && parentOfChild() != parent) {
        ::close(queue);
        return -1;
    }
    return queue;
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

int inheritWatch(int /*watch*/) {
    return watchStarterOfParent();
}

} // namespace kestrelnet::privileged
