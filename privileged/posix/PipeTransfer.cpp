// SPDX-License-Identifier: MIT
#include "privileged/PipeTransfer.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// The largest buffer of a pipe on macOS.
constexpr std::size_t most = std::size_t{1} << 16U;

/// Only this one write must not wait: other processes may write to the same open pipe, and expect
/// to wait.
ssize_t writeAtOnce(int to, const std::string& bytes) {
    const int flags = ::fcntl(to, F_GETFL);
    if (flags < 0 || ::fcntl(to, F_SETFL, flags | O_NONBLOCK) != 0) {
        return -1;
    }
    const ssize_t size = ::write(to, bytes.data(), bytes.size());
    const int error = errno;
    ::fcntl(to, F_SETFL, flags);
    errno = error;
    return size;
}

} // namespace

ssize_t transfer(int from, int to, std::string& rest) {
    if (rest.empty()) {
        rest.resize(most);
        const ssize_t size = ::read(from, rest.data(), rest.size());
        rest.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
        if (size <= 0) {
            return size;
        }
    }
    const ssize_t size = writeAtOnce(to, rest);
    if (size > 0) {
        rest.erase(0, static_cast<std::size_t>(size));
    }
    return size;
}

} // namespace kestrelnet::privileged
