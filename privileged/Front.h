// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/Connection.h"
#include "privileged/Lifeline.h"

#include <csignal>
#include <optional>
#include <sys/types.h>

namespace kestrelnet::privileged {

/// The signals that ask for the end of a run. A program blocks them before it forks the guard.
sigset_t stopRequests();

/// The work of the front, an unprivileged process that its user may signal: passes `stopRequests`
/// on to the guard as lifeline::stop, and copies the output of the run to the caller's streams,
/// until the guard has ended and all output is copied. After a request to stop, output that nobody
/// reads is dropped. Returns how the main process ended; nothing when the guard was killed.
///
/// `guard` is a child of this process, which has one thread.
std::optional<RunEnd> serve(pid_t guard, const Connection& connection);

/// Ends this process as the main process of the run has ended.
[[noreturn]] void endLike(const RunEnd& end);

} // namespace kestrelnet::privileged
