// SPDX-License-Identifier: MIT
// The user of this process. The sources are in one folder per system.
#pragma once

#include <sys/types.h>

namespace kestrelnet {

/// Gives this process, which is root's, the identifiers of the user and the group `id`, so that
/// becomeRootAgain() still works. Returns whether that succeeded.
bool becomeForAWhile(uid_t id);
bool becomeRootAgain();

} // namespace kestrelnet
