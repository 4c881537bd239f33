// SPDX-License-Identifier: MIT
#include "platform/Descriptors.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

constexpr int firstOther = STDERR_FILENO + 1;

/// Moves `descriptor` above the standard streams when it is among them.
int aboveStandardStreams(int descriptor) {
    if (descriptor >= firstOther) {
        return descriptor;
    }
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, firstOther);
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return moved;
}

} // namespace

PipeDescriptors closeOnExecPipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    const PipeDescriptors pipe{aboveStandardStreams(ends[0]), aboveStandardStreams(ends[1])};
    if (pipe.reading >= 0 && pipe.writing >= 0) {
        return pipe;
    }
    const int error = errno;
    ::close(pipe.reading);
    ::close(pipe.writing);
    errno = error;
    return {};
}

int closeOtherDescriptors(posix_spawn_file_actions_t& actions, posix_spawnattr_t&) {
    return ::posix_spawn_file_actions_addclosefrom_np(&actions, firstOther);
}

} // namespace kestrelnet
