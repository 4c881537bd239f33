// SPDX-License-Identifier: MIT
// The few calls on descriptors that systems do not share.
#pragma once

#include <spawn.h>

namespace kestrelnet {

struct PipeDescriptors {
    int reading = -1;
    int writing = -1;
};

/// A pipe whose ends are closed on exec and lie above the standard streams, so that giving one to a
/// child as a standard stream never overwrites another. Both ends are -1, and errno is set, when
/// none can be had.
PipeDescriptors closeOnExecPipe();

/// Makes a spawned child close every descriptor above 2. To be added after the other file actions.
/// Returns 0 or an error number.
int closeOtherDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

} // namespace kestrelnet
