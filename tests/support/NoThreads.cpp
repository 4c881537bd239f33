// SPDX-License-Identifier: MIT
#include "tests/support/NoThreads.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace kestrelnet {

NoThreads::NoThreads() {
    EXPECT_EQ(::pthread_getattr_default_np(&before_), 0);
    pthread_attr_t impossible;
    EXPECT_EQ(::pthread_attr_init(&impossible), 0);
    // Larger than the address space.
    EXPECT_EQ(::pthread_attr_setstacksize(&impossible, std::size_t{1} << 60U), 0);
    EXPECT_EQ(::pthread_setattr_default_np(&impossible), 0);
    ::pthread_attr_destroy(&impossible);
}

NoThreads::~NoThreads() {
    EXPECT_EQ(::pthread_setattr_default_np(&before_), 0);
}

} // namespace kestrelnet
