// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <optional>
#include <sys/types.h>

namespace kestrelnet::privileged {

/// Whom a request to stop reaches at first. What does not heed it is killed in either case.
enum class StopReaches {
    /// The main process only, which ends its own children.
    mainProcess,
    /// Every process of the run: a shell in between would keep the request to itself.
    everyProcess,
};

/// Runs `become`, which replaces the process by another program, in a child with a session of its
/// own, default signals and an empty signal mask, and stays until neither the child nor anything
/// that descends from it is left. Returns the child's wait status; nothing when it was not started,
/// because the owner had gone before, or had asked to stop, or no process could be made.
///
/// `owner` is this process's end of the lifeline, see Lifeline.h.
/// - Asked to stop, the run gets SIGTERM as `reach` says, once. What is left 3.3 s later is killed:
///   the application grants 3.0 s, and a client has them in full. SIGTERM, SIGINT, SIGHUP or
///   SIGQUIT to this process ask the same, as at the end of a session or of the system.
/// - Once the owner has gone, every process of the run that was not asked yet gets SIGTERM. What is
///   left 1.5 s later, or at the earlier moment above, is killed.
/// - Once the main process has ended, what it has left behind gets SIGTERM, and is killed 1.5 s
///   later, or at the moment above when that is set.
///
/// For a process of one thread, which this makes the reaper of all its descendants: daemons and
/// orphans of the run come back to it. It wakes only when something happens. The child is killed
/// should this process be killed itself.
std::optional<int> supervise(int owner, StopReaches reach, const std::function<void()>& become);

} // namespace kestrelnet::privileged
