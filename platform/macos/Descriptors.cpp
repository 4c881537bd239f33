// SPDX-License-Identifier: MIT
#include "platform/Descriptors.h"

#include <fcntl.h>
#include <unistd.h>

namespace kestrelnet {

bool openCloseOnExecPipe(std::array<int, 2>& ends) {
    if (::pipe(ends.data()) != 0) {
        return false;
    }
    for (const int end : ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    return true;
}

int closeOtherDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes) {
    // All descriptors without a file action are closed, so add one for each standard stream.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (const int error = ::posix_spawn_file_actions_addinherit_np(&actions, stream)) {
            return error;
        }
    }
    short flags = 0;
    ::posix_spawnattr_getflags(&attributes, &flags);
    return ::posix_spawnattr_setflags(&attributes,
                                      static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT));
}

} // namespace kestrelnet
