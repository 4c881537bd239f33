// SPDX-License-Identifier: MIT
#include "platform/Environment.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

// NOLINTNEXTLINE(readability-redundant-declaration): not every system's headers have it.
extern char** environ;

namespace kestrelnet {
namespace {

/// Replaces the environment of the process during a test.
class EnvironmentTest : public testing::Test {
  protected:
    ~EnvironmentTest() override { environ = own_; }

  private:
    char** own_ = environ;
};

TEST_F(EnvironmentTest, holdsEveryVariable) {
    std::string plain = "KEY=dev_1234567";
    std::string empty = "EMPTY=";
    std::string separators = "OPTIONS=a=b=";
    std::string bytes = "BYTES= \xff\n\"";
    std::array<char*, 5> entries{plain.data(), empty.data(), separators.data(), bytes.data(),
                                 nullptr};
    environ = entries.data();
    EXPECT_EQ(
        currentEnvironment(),
        (Environment{
            {"KEY", "dev_1234567"}, {"EMPTY", ""}, {"OPTIONS", "a=b="}, {"BYTES", " \xff\n\""}}));
}

TEST_F(EnvironmentTest, leavesOutEntriesThatAreNoVariables) {
    std::string bare = "BARE";
    std::string nothing;
    std::string plain = "KEY=value";
    std::array<char*, 4> entries{bare.data(), nothing.data(), plain.data(), nullptr};
    environ = entries.data();
    EXPECT_EQ(currentEnvironment(), (Environment{{"KEY", "value"}}));
}

TEST_F(EnvironmentTest, takesTheFirstOfTwoEqualNames) {
    std::string first = "KEY=first";
    std::string second = "KEY=second";
    std::array<char*, 3> entries{first.data(), second.data(), nullptr};
    environ = entries.data();
    EXPECT_EQ(currentEnvironment(), (Environment{{"KEY", "first"}}));
}

TEST_F(EnvironmentTest, mayBeEmptyOrMissing) {
    std::array<char*, 1> entries{nullptr};
    environ = entries.data();
    EXPECT_EQ(currentEnvironment(), Environment{});
    environ = nullptr;
    EXPECT_EQ(currentEnvironment(), Environment{});
}

TEST_F(EnvironmentTest, isACopy) {
    std::string entry = "KEY=old";
    std::array<char*, 2> entries{entry.data(), nullptr};
    environ = entries.data();
    const Environment environment = currentEnvironment();
    entry = "KEY=new";
    EXPECT_EQ(environment, (Environment{{"KEY", "old"}}));
}

} // namespace
} // namespace kestrelnet
