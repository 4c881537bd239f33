// SPDX-License-Identifier: MIT
#include "platform/Descriptors.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

/// Moves `descriptor` above the standard streams when it is among them.
int aboveStandardStreams(int descriptor) {
    if (descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(descriptor);
    return moved;
}

} // namespace

PipeDescriptors closeOnExecPipe() {
    std::array<int, 2> ends{};
    if (!openCloseOnExecPipe(ends)) {
        return {};
    }
    const PipeDescriptors pipe{aboveStandardStreams(ends[0]), aboveStandardStreams(ends[1])};
    if (pipe.reading >= 0 && pipe.writing >= 0) {
        return pipe;
    }
    const int reason = errno;
    ::close(pipe.reading);
    ::close(pipe.writing);
    errno = reason;
    return {};
}

} // namespace kestrelnet
