// SPDX-License-Identifier: MIT
#include "tests/support/FullDisk.h"

#include <gtest/gtest.h>

namespace kestrelnet {

FullDisk::FullDisk(rlim_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &before_), 0);
    const rlimit tight{.rlim_cur = size, .rlim_max = before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
}

FullDisk::~FullDisk() {
    EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &before_), 0);
    std::signal(SIGXFSZ, handler_);
}

} // namespace kestrelnet
