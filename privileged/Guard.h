// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/Lifeline.h"

#include <chrono>
#include <functional>
#include <optional>

namespace kestrelnet::privileged {

/// What a guard watches. The descriptors stay the caller's.
struct Watched {
    /// The guard's end of the lifeline, see Lifeline.h.
    int owner = -1;
    /// Becomes readable when the starter has ended, see Starter.h: the application, without which
    /// nobody can see or stop the run. The owner, a process between the two, may be stopped and
    /// then notices nothing.
    int starter = -1;
};

/// How long the processes of a run may go on before they are killed.
struct Graces {
    /// After a request to stop. The application grants 3.0 s and then kills the process that it
    /// started; a client has these in full.
    std::chrono::milliseconds stop{3300};
    /// After the starter, the owner or the main process has ended without such a request.
    std::chrono::milliseconds abandoned{1500};
};

/// Runs `become`, which executes another program, in a child with a session of its own, default
/// signals and an empty signal mask: the main process. Returns when it and all other processes of
/// the containment have ended, or when their time is over. The caller must then exit, so that the
/// kernel kills the processes that are left. Returns how the main process ended, by SIGKILL when it
/// is left; nothing when it was not started because the starter or the owner had ended, or the
/// owner had asked to stop, or no process could be made.
///
/// The run is asked to end, with `graces.stop`, when the owner sends lifeline::stop, and when this
/// process gets SIGTERM, SIGINT, SIGHUP or SIGQUIT, which come at the end of a session or of the
/// system. It is asked to end with `graces.abandoned` when the starter, the owner or the main
/// process has ended. The first of these events sets the time; later ones do not change it.
///
/// A run that is asked to end gets SIGTERM, each of its top processes once, see
/// containment::Processes::ask. Each ends the processes that it has started itself; many programs
/// skip their clean-up at a second SIGTERM.
///
/// For the guard that containment::fork has made, with one thread. It wakes up only when something
/// happens, and every tenth of a second while the run is ending.
std::optional<RunEnd> guardRun(const Watched& watched, const std::function<void()>& become,
                               const Graces& graces = {});

} // namespace kestrelnet::privileged
