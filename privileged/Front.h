// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/Lifeline.h"
#include "privileged/Relay.h"

#include <optional>
#include <sys/types.h>
#include <vector>

namespace kestrelnet::privileged {

/// The unprivileged process of the helper, which its user may signal. It is the owner of the run.
struct Front {
    /// The guard, a child of this process.
    pid_t guard;
    /// This process's end of the lifeline.
    int lifeline;
    std::vector<Relay> relays;
};

/// The signals that stop the run. The caller blocks them before it forks the guard.
sigset_t stopRequests();

/// Passes the signals of `stopRequests` on to the guard and copies the output of the run, until the
/// guard has ended and all output is copied. Returns how the main process ended; nothing when the
/// guard was killed. For a process with one thread.
std::optional<RunEnd> serve(Front& front);

/// Ends this process as the main process of the run has ended.
[[noreturn]] void endLike(const RunEnd& end);

} // namespace kestrelnet::privileged
