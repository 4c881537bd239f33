// SPDX-License-Identifier: MIT
#include "tests/support/NoDescriptors.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace kestrelnet {

NoDescriptors::NoDescriptors() {
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before_), 0);
    // The lowest free one. With a limit below the open ones, poll() refuses them.
    const int next = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    ::close(next);
    const rlimit exhausted{.rlim_cur = static_cast<rlim_t>(next), .rlim_max = before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &exhausted), 0);
}

NoDescriptors::~NoDescriptors() {
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before_), 0);
}

} // namespace kestrelnet
