// SPDX-License-Identifier: MIT
#include "platform/linux/HeldProcess.h"

#include "tests/support/LogRecorder.h"
#include "tests/support/NoDescriptors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;

/// A child that sleeps until it is killed.
class HeldProcessTest : public testing::Test {
  protected:
    HeldProcessTest() : child(::fork()) {
        if (child == 0) {
            for (;;) {
                ::pause();
            }
        }
    }
    ~HeldProcessTest() override { end(); }

    /// Kills the child and reaps it, so that its identifier is free. Returns the signal that it
    /// ended by.
    int end() {
        int status = 0;
        if (child > 0) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            child = -1;
        }
        return WTERMSIG(status);
    }

    pid_t child;
};

TEST_F(HeldProcessTest, signalsTheProcessAndWaitsForItsEnd) {
    const HeldProcess process(child);
    EXPECT_EQ(process.state(), HeldProcess::State::held);
    EXPECT_FALSE(process.endsWithin(10ms));
    EXPECT_TRUE(process.kill(SIGTERM));
    EXPECT_TRUE(process.endsWithin(10s));
    EXPECT_EQ(end(), SIGTERM);
}

TEST_F(HeldProcessTest, anEndedProcessIsNotSignalled) {
    const HeldProcess process(child);
    end();
    EXPECT_TRUE(process.endsWithin(10s));
    EXPECT_FALSE(process.kill(SIGTERM));
}

TEST_F(HeldProcessTest, anUnusedIdentifierIsMissing) {
    const pid_t unused = child;
    end();
    const HeldProcess process(unused);
    EXPECT_EQ(process.state(), HeldProcess::State::missing);
    EXPECT_FALSE(process.kill(SIGTERM));
    EXPECT_TRUE(process.endsWithin(10s));
}

TEST_F(HeldProcessTest, withoutADescriptorItFailsAtOnce) {
    const LogRecorder recorder;
    auto exhausted = std::make_optional<NoDescriptors>();
    const HeldProcess process(child);
    exhausted.reset();
    EXPECT_EQ(process.state(), HeldProcess::State::unsupported);
    EXPECT_FALSE(process.kill(SIGTERM));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(process.endsWithin(10s));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    EXPECT_THAT(recorder.messages(),
                testing::ElementsAre("warning kestrelnet.desktop: the other process cannot be "
                                     "opened: Too many open files"));
}

} // namespace
} // namespace kestrelnet
