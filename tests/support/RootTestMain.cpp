// SPDX-License-Identifier: MIT
// The entry of test programs whose tests are root in a world of their own, see RootWorld.h.
#include "tests/support/RootWorld.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

#include <cstdlib>
#include <unistd.h>

namespace {

class NeedsRoot final : public testing::Environment {
  public:
    void SetUp() override { GTEST_SKIP() << "skipped: needs root"; }
};

} // namespace

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
        testing::AddGlobalTestEnvironment(new NeedsRoot);
        return run();
    }
    // Without the leak sanitizer's look at this process: with its world it has lost the right to
    // start others, which that needs. The tests' own process has been looked at.
    std::_Exit(kestrelnet::rootWorld::enter(run));
}
