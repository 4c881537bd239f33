// SPDX-License-Identifier: MIT
// What holds for a guard in every containment.
#include "tests/privileged/GuardTest.h"

#include "tests/support/Random.h"

#include <cstring>
#include <random>
#include <thread>

namespace kestrelnet::privileged {
namespace {

using namespace std::chrono_literals;

TEST_F(GuardTest, returnsTheExitStatus) {
    start("script").exit(7);
    EXPECT_EQ(result(), 7);
}

TEST_F(GuardTest, returnsTheSignal) {
    const FakeClient& client = start("script");
    ::kill(*client.pid(), SIGUSR1);
    EXPECT_EQ(result(), 128 + SIGUSR1);
}

TEST_F(GuardTest, startsNothingForAnOwnerThatHasEnded) {
    owner.leave();
    const FakeClient& client = guard("script");
    EXPECT_EQ(result(), notStarted);
    EXPECT_FALSE(client.pid());
}

TEST_F(GuardTest, startsNothingAfterARequestToStop) {
    askToStop();
    const FakeClient& client = guard("script");
    EXPECT_EQ(result(), notStarted);
    EXPECT_FALSE(client.pid());
}

TEST_F(GuardTest, passesARequestToStopOn) {
    const FakeClient& client = start("exits-on-terminate");
    askToStop();
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(client.isGone());
}

TEST_F(GuardTest, killsAStubbornClientAfterTheGrace) {
    const FakeClient& client = start("stubborn");
    startClock();
    askToStop();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.stop);
    EXPECT_LT(sinceStart(), graces.stop + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, keepsTheGraceOfARequestWhenOwnerAndStarterEndAfterIt) {
    const FakeClient& client = start("stubborn");
    startClock();
    askToStop();
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    owner.leave();
    starter.leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.stop);
    EXPECT_LT(sinceStart(), graces.stop + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, keepsTheGraceOfARequestThatCameJustBeforeTheEnd) {
    const FakeClient& client = start("stubborn");
    startClock();
    askToStop();
    owner.leave();
    starter.leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.stop);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, killsAStubbornClientSoonAfterTheOwnerHasEnded) {
    graces.stop = 60s;
    const FakeClient& client = start("stubborn");
    startClock();
    owner.leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.abandoned);
    EXPECT_LT(sinceStart(), graces.abandoned + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, killsAStubbornClientSoonAfterTheStarterHasEnded) {
    graces.stop = 60s;
    // The owner is there, but may be stopped.
    const FakeClient& client = start("stubborn");
    startClock();
    starter.leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.abandoned);
    EXPECT_LT(sinceStart(), graces.abandoned + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, keepsTheFirstDeadlineThroughLaterRequests) {
    start("stubborn");
    startClock();
    const std::jthread repeating([this](const std::stop_token& end) {
        while (!end.stop_requested()) {
            askToStopInVain();
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_LT(sinceStart(), graces.stop + delay);
}

TEST_F(GuardTest, asksTheMainProcessOnceHoweverOftenItIsAskedItself) {
    const FakeClient& client = start("stubborn");
    askToStop();
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    askToStop();
    owner.leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, asksTheOrphansOfTheMainProcess) {
    constexpr int rounds = 5;
    graces.stop = 5s;
    for (int round = 0; round < rounds; ++round) {
        connect();
        // A hundred processes, each the child of the last.
        start("spreads");
        startClock();
        askToStop();
        EXPECT_EQ(result(), 128 + SIGTERM);
        // None ignores SIGTERM: a run that needs the whole grace has missed one.
        EXPECT_LT(sinceStart(), graces.stop);
        EXPECT_TRUE(isNothingLeft());
    }
}

TEST_F(GuardTest, asksNoChildOfAProcessThatItAsks) {
    const FakeClient& client = start("stubborn-pair");
    askToStop();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, endsAGrandchildAfterTheMainProcess) {
    guard("leaves-grandchild");
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(GuardTest, endsAStoppedClient) {
    const FakeClient& client = start("exits-on-terminate");
    ::kill(*client.pid(), SIGSTOP);
    askToStop();
    EXPECT_EQ(result(), 0);
}

TEST_F(GuardTest, endsAGrowingNumberOfProcesses) {
    const FakeClient& client = start("breeds");
    owner.leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_TRUE(client.isGone());
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(GuardTest, endsEverythingWheneverTheOwnerEnds) {
    std::mt19937 random = seededGenerator();
    std::uniform_int_distribution<int> moment(0, 15000);
    for (int round = 0; round < 100; ++round) {
        connect();
        guard("keeps-grandchild");
        std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
        startClock();
        owner.leave();
        result();
        ASSERT_LT(sinceStart(), graces.abandoned + 2s) << "round " << round;
        ASSERT_TRUE(isNothingLeft()) << "round " << round;
    }
}

class GuardSignalTest : public GuardTest, public testing::WithParamInterface<int> {};

// Root or the kernel sends these when the session or the system ends.
TEST_P(GuardSignalTest, isARequestToStop) {
    const FakeClient& client = start("exits-on-terminate");
    ::kill(guardOf(client), GetParam());
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(client.isGone());
}

INSTANTIATE_TEST_SUITE_P(Signals, GuardSignalTest,
                         testing::Values(SIGTERM, SIGINT, SIGHUP, SIGQUIT),
                         [](const auto& tested) { return ::sigabbrev_np(tested.param); });

} // namespace
} // namespace kestrelnet::privileged
