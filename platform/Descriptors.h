// SPDX-License-Identifier: MIT
// Descriptors that children do not inherit. The calls that differ between systems are in one source
// per system.
#pragma once

#include <array>
#include <spawn.h>

namespace kestrelnet {

struct PipeDescriptors {
    int reading = -1;
    int writing = -1;
};

/// A pipe whose ends are closed on exec and lie above the standard streams, so that duplicating
/// one to a child's standard stream never overwrites another. On failure both ends are -1, and
/// errno is set.
PipeDescriptors closeOnExecPipe();

/// Opens a pipe whose ends, reading and writing, are closed on exec. Returns false on failure.
bool openCloseOnExecPipe(std::array<int, 2>& ends);

/// Makes a spawned child close every descriptor above 2. Call it after adding all file actions.
/// Returns 0 or an error number.
int closeOtherDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

} // namespace kestrelnet
