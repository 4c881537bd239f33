// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/Lifeline.h"

#include <csignal>
#include <set>
#include <sys/types.h>

// Keeps all processes of a run together, so that none outlives the run. There are two containments:
//
// - Linux has a PID namespace (linux/Containment.cpp). The guard is its first process, and no
//   process can leave it.
// - macOS has a process group (posix/Containment.cpp). The main process leads it. A process that
//   leaves the group, for example by setsid(), escapes, and nothing ends the run when the guard is
//   killed.
namespace kestrelnet::privileged::containment {

struct Forked {
    /// As fork() returns it: 0 in the guard; -1 when there is a `problem`.
    pid_t pid = -1;
    /// Why there is no containment, a phrase for a message; otherwise null.
    const char* problem = nullptr;
};

/// Like fork(). The child is the guard of a new containment; the calling process stays outside. In
/// a PID namespace, the kernel kills every other process of the containment when the guard ends for
/// any reason. The calling process needs root's rights, and can call this once.
Forked fork();

/// To be called once in the guard, before it starts a process. Returns null, or what failed.
///
/// In a PID namespace, the guard and its descendants then see their own process identifiers in
/// /proc. Other mounts stay shared with the host as they were: what is mounted inside appears
/// outside, and the reverse.
const char* enter();

/// The processes of a run, for its guard, in which no other code reaps children.
class Processes {
  public:
    /// `mainProcess` is a child of the guard that makes a session of its own before it does
    /// anything else.
    explicit Processes(pid_t mainProcess) : main_(mainProcess) {}

    /// Reaps processes that have ended. Returns whether a process of the run is left.
    bool reap();
    /// As of the last call of `reap`.
    bool hasMainEnded() const { return hasMainEnded_; }

    /// Sends SIGTERM to the processes that the guard must ask itself to end, once to each however
    /// often this is called. A stopped process continues, so that it notices.
    ///
    /// In a PID namespace, these are the top processes: the guard's children and the orphans that
    /// have become its children. (A kernel without CONFIG_PROC_CHILDREN does not list orphans; then
    /// they are killed without being asked.) In a process group, it is the main process, and all
    /// other members at the time when it has ended.
    void ask();

    /// Ends the processes that are left. Returns how the main process ended, by SIGKILL when it was
    /// left. Call this once, as the last.
    ///
    /// In a PID namespace, the caller must then exit: then the kernel kills these processes. In a
    /// process group, this waits until the group is empty.
    RunEnd end();

  private:
    /// `target` is a process, or the negative identifier of a process group. It must not be reaped
    /// yet: until then the kernel gives the identifier to no other process or group.
    void ask(pid_t target);

    pid_t main_;
    bool hasMainEnded_ = false;
    RunEnd mainEnd_ = RunEnd::signalled(SIGKILL);
    std::set<pid_t> asked_;
};

} // namespace kestrelnet::privileged::containment
