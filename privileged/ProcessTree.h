// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace kestrelnet::privileged {

// Both reach the descendants of this process as they are at the moment, and never another process,
// even where the kernel gives the identifier of an ended descendant to somebody else.

/// Sends SIGTERM to every descendant but `except`, also to one that stands still. None is missed
/// because it is just being born: they stand still until all are found, and wake up together.
void terminateDescendants(pid_t except);

/// Sends SIGKILL to every descendant. One that is born meanwhile may be missed.
void killDescendants();

} // namespace kestrelnet::privileged
