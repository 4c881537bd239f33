// SPDX-License-Identifier: MIT
// Descriptors that children do not inherit; the few calls that systems do not share stand in a file
// a system.
#pragma once

#include <array>
#include <spawn.h>

namespace kestrelnet {

struct PipeDescriptors {
    int reading = -1;
    int writing = -1;
};

/// A pipe whose ends are closed on exec and lie above the standard streams, so that giving one to a
/// child as a standard stream never overwrites another. Both ends are -1 when none can be had.
PipeDescriptors closeOnExecPipe();

/// A pipe whose ends, reading and writing, are closed on exec. False when none can be had.
bool openCloseOnExecPipe(std::array<int, 2>& ends);

/// Makes a spawned child close every descriptor above 2. To be added after the other file actions.
/// Returns 0 or an error number.
int closeOtherDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

} // namespace kestrelnet
