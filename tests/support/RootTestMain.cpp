// SPDX-License-Identifier: MIT
// The entry of test programs whose tests are root in a world of their own, see RootWorld.h.
#include "tests/support/RootWorld.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    const auto run = [&] {
        const QCoreApplication application(count, arguments);
        return RUN_ALL_TESTS();
    };
    if (GTEST_FLAG_GET(list_tests)) {
        return run();
    }
    if (::geteuid() != 0) {
        // In the words by which ctest knows a test that was skipped.
        std::puts("[  SKIPPED ] skipped: needs root");
        return EXIT_SUCCESS;
    }
    const int status = kestrelnet::rootWorld::enter(run);
    // This process can start no other any more, as a search for leaks at its end would: those are
    // in a world that has ended.
    std::_Exit(status);
}
