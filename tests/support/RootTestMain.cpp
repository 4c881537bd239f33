// SPDX-License-Identifier: MIT
// The main function of test programs whose tests run in a root world, see RootWorld.h.
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
        // ctest recognises a skipped test by this text.
        std::puts("[  SKIPPED ] skipped: needs root");
        return EXIT_SUCCESS;
    }
    const int status = kestrelnet::rootWorld::enter(run);
    // Skip the exit handlers: the leak checker would start a process, which is impossible after the
    // end of the PID namespace of this process's children.
    std::_Exit(status);
}
