// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>
#include <vector>

// Keeps all processes of a run together, so that none outlives the run. The guard is the first
// process of the containment.
namespace kestrelnet::privileged::containment {

struct Forked {
    /// As fork() returns it: 0 in the guard; -1 when there is a `problem`.
    pid_t pid = -1;
    /// Why there is no containment, a phrase for a message; otherwise null.
    const char* problem = nullptr;
};

/// Like fork(). The child is the guard of a new containment. When it ends for any reason, the
/// kernel kills every other process of the containment, whatever it has done to escape. The calling
/// process stays outside. It needs root's rights, and can call this once.
Forked fork();

/// To be called once in the guard, before it starts a process. Returns null, or what failed.
///
/// The guard and its descendants then see their own process identifiers in /proc. Other mounts stay
/// shared with the host as they were: what is mounted inside appears outside, and the reverse.
const char* enter();

/// The processes whose parent is the guard, for the guard: those that it started, and orphans. A
/// kernel without CONFIG_PROC_CHILDREN does not list them; then orphans are killed without being
/// asked.
std::vector<pid_t> topProcesses();

} // namespace kestrelnet::privileged::containment
