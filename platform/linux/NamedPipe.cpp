// SPDX-License-Identifier: MIT
#include "platform/NamedPipe.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kestrelnet {

std::unique_ptr<NamedPipe> NamedPipe::at(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        return nullptr;
    }
    auto pipe = std::unique_ptr<NamedPipe>(new NamedPipe(descriptor));
    struct stat status {};
    const bool isPipe = ::fstat(descriptor, &status) == 0 && S_ISFIFO(status.st_mode);
    return isPipe ? std::move(pipe) : nullptr;
}

NamedPipe::~NamedPipe() {
    ::close(descriptor_);
}

std::size_t NamedPipe::unread() const {
    // The path of the process's own descriptor leads to the pipe itself. A writing end can be
    // opened only when there is a reader, and wakes no writer that waits for one.
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor_);
    const int writing = ::open(self.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (writing < 0) {
        return 0;
    }
    int unread = 0;
    const bool isKnown = ::ioctl(writing, FIONREAD, &unread) == 0;
    ::close(writing);
    return isKnown ? static_cast<std::size_t>(unread) : 0;
}

} // namespace kestrelnet
