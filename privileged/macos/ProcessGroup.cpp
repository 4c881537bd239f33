// SPDX-License-Identifier: MIT
#include "privileged/posix/ProcessGroup.h"

#include <csignal>

namespace kestrelnet::privileged {

bool processGroup::isPopulated(pid_t group) {
    // This kernel signals no process that has ended: kill() then fails, also for root.
    return ::kill(-group, 0) == 0;
}

} // namespace kestrelnet::privileged
