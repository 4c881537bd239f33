// SPDX-License-Identifier: MIT
#include "platform/ProgramStart.h"

#include "tests/support/ScopedVariable.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace kestrelnet {
namespace {

constexpr const char* variable = "KESTRELNET_TEST_QUIET";

TEST(ProgramStartTest, aStartWithoutTheMarkIsByAPerson) {
    ASSERT_EQ(std::getenv(variable), nullptr);
    EXPECT_TRUE(startedByPerson(variable));
}

TEST(ProgramStartTest, theMarkIsNotPassedOn) {
    const ScopedVariable mark(variable, "1");
    EXPECT_FALSE(startedByPerson(variable));
    EXPECT_EQ(std::getenv(variable), nullptr);
}

} // namespace
} // namespace kestrelnet
