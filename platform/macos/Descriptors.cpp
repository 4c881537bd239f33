// SPDX-License-Identifier: MIT
#include "platform/Descriptors.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

/// A close-on-exec copy of `descriptor` above the standard streams; the original is closed.
int moved(int descriptor) {
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return copy;
}

} // namespace

PipeDescriptors closeOnExecPipe() {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        return {};
    }
    const PipeDescriptors pipe{moved(ends[0]), moved(ends[1])};
    if (pipe.reading >= 0 && pipe.writing >= 0) {
        return pipe;
    }
    const int error = errno;
    ::close(pipe.reading);
    ::close(pipe.writing);
    errno = error;
    return {};
}

int closeOtherDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes) {
    // Everything is closed but what a file action names, so the standard streams must be named.
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
