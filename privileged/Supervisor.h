// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <sys/types.h>

namespace kestrelnet::privileged {

/// Which processes of the run get the SIGTERM of a request to stop.
enum class StopReaches {
    /// The main process only, which is expected to end its own children.
    mainProcess,
    /// Every process: a shell that started the client would not pass the signal on.
    everyProcess,
};

/// How long the processes of a run may go on before they are killed.
struct Graces {
    /// After a request to stop. The application grants 3.0 s and then kills the process that it
    /// started; a client has these in full.
    std::chrono::milliseconds stop{3300};
    /// After the owner or the main process has ended.
    std::chrono::milliseconds abandoned{1500};
};

/// Runs `become`, which executes another program, in a child with a session of its own, default
/// signals and an empty signal mask. Returns when the child and all its descendants have ended.
/// Returns the child's wait status; nothing when it was not started, because the owner had ended
/// before, or had asked to stop, or no process could be made.
///
/// `owner` is this process's end of the lifeline, see Lifeline.h.
/// - On a request to stop, the run gets SIGTERM as `reach` says, once. What is left after
///   `graces.stop` is killed. SIGTERM, SIGINT, SIGHUP and SIGQUIT to this process are requests too;
///   they come at the end of a session or of the system.
/// - When the owner has ended, every process of the run that was not asked yet gets SIGTERM. What
/// is
///   left after `graces.abandoned`, or at the earlier deadline above, is killed.
/// - When the main process has ended, the processes that it left get SIGTERM. They are killed after
///   `graces.abandoned`, or at the deadline above when there is one.
///
/// The process must have one thread. It becomes the reaper of all its descendants, daemons and
/// orphans included. It wakes only when something happens. The child is killed when this process is
/// killed.
std::optional<int> supervise(int owner, StopReaches reach, const std::function<void()>& become,
                             const Graces& graces = {});

} // namespace kestrelnet::privileged
