// SPDX-License-Identifier: MIT
#include "platform/Descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace kestrelnet {

bool openCloseOnExecPipe(std::array<int, 2>& ends) {
    return ::pipe2(ends.data(), O_CLOEXEC) == 0;
}

int closeOtherDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t&) {
    return ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

} // namespace kestrelnet
