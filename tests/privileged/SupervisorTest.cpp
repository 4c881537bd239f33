// SPDX-License-Identifier: MIT
#include "privileged/Supervisor.h"

#include "privileged/Lifeline.h"
#include "tests/support/FakeClient.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace kestrelnet::privileged {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Whether any process of `client` is left, whatever its parent is now.
bool isAnybodyLeft(const FakeClient& client) {
    const std::filesystem::path folder = std::filesystem::path(client.executable()).parent_path();
    const std::filesystem::directory_iterator processes("/proc");
    return std::any_of(begin(processes), end(processes), [&folder](const auto& entry) {
        return readFile(entry.path() / "cmdline").find(folder) != std::string::npos;
    });
}

/// A supervisor in a process of its own; the test is its owner. It needs no rights.
class SupervisorTest : public testing::Test {
  protected:
    /// The exit status of the supervisor's process when nothing was started.
    static constexpr int notStarted = 99;

    /// Short, so that the tests do not wait for seconds.
    static constexpr Graces graces{.stop = 600ms, .abandoned = 250ms};
    /// How much later than its grace a run may end on a busy machine.
    static constexpr auto delay = 300ms;

    ~SupervisorTest() override { leave(); }

    void makeLifeline() {
        std::array<int, 2> ends{-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
        owner_ = ends[0];
        kept_ = ends[1];
    }

    /// Starts the supervisor with a client of `mode`.
    FakeClient& supervise(std::string_view mode, StopReaches reach = StopReaches::everyProcess) {
        if (owner_ < 0 && kept_ < 0) {
            makeLifeline();
        }
        client_.emplace(mode);
        const std::string program = client_->executable();
        supervisor_ = ::fork();
        if (supervisor_ == 0) {
            ::close(owner_);
            const auto status = privileged::supervise(
                kept_, reach, [&program] { ::execl(program.c_str(), program.c_str(), nullptr); },
                graces);
            if (!status) {
                ::_exit(notStarted);
            }
            ::_exit(WIFEXITED(*status) ? WEXITSTATUS(*status) : 128 + WTERMSIG(*status));
        }
        ::close(std::exchange(kept_, -1));
        return *client_;
    }

    FakeClient& start(std::string_view mode, StopReaches reach = StopReaches::everyProcess) {
        FakeClient& client = supervise(mode, reach);
        EXPECT_TRUE(waitFor([&client] { return client.isReady(); }));
        return client;
    }

    void askToStop() const {
        EXPECT_EQ(::send(owner_, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL), 1);
    }
    /// The same, when the supervisor may have ended.
    void askToStopInVain() const {
        ::send(owner_, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    void leave() {
        if (owner_ >= 0) {
            ::close(std::exchange(owner_, -1));
        }
    }
    /// Waits for the supervisor's end. Returns its exit status.
    int result() {
        int status = -1;
        EXPECT_TRUE(waitFor([&] { return ::waitpid(supervisor_, &status, WNOHANG) != 0; }));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    pid_t supervisor() const { return supervisor_; }

    Clock::duration sinceStart() const { return Clock::now() - start_; }
    void startClock() { start_ = Clock::now(); }

  private:
    int owner_ = -1;
    int kept_ = -1;
    pid_t supervisor_ = -1;
    std::optional<FakeClient> client_;
    Clock::time_point start_;
};

TEST_F(SupervisorTest, returnsTheExitStatus) {
    start("script").exit(7);
    EXPECT_EQ(result(), 7);
}

TEST_F(SupervisorTest, returnsTheSignal) {
    const FakeClient& client = start("script");
    ::kill(*client.pid(), SIGUSR1);
    EXPECT_EQ(result(), 128 + SIGUSR1);
}

TEST_F(SupervisorTest, startsNothingForAnOwnerThatHasEnded) {
    makeLifeline();
    leave();
    const FakeClient& client = supervise("script");
    EXPECT_EQ(result(), notStarted);
    EXPECT_FALSE(client.pid());
}

TEST_F(SupervisorTest, startsNothingAfterARequestToStop) {
    makeLifeline();
    askToStop();
    const FakeClient& client = supervise("script");
    EXPECT_EQ(result(), notStarted);
    EXPECT_FALSE(client.pid());
}

TEST_F(SupervisorTest, passesARequestToStopOn) {
    const FakeClient& client = start("exits-on-terminate");
    askToStop();
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(client.isGone());
}

TEST_F(SupervisorTest, killsAStubbornClientAfterTheGrace) {
    const FakeClient& client = start("stubborn");
    startClock();
    askToStop();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.stop);
    EXPECT_LT(sinceStart(), graces.stop + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(SupervisorTest, asksOnlyOnceWhenTheOwnerThenLeaves) {
    const FakeClient& client = start("stubborn", StopReaches::mainProcess);
    startClock();
    askToStop();
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_LT(sinceStart(), graces.abandoned + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(SupervisorTest, killsAStubbornClientSoonAfterTheOwnerHasEnded) {
    const FakeClient& client = start("stubborn");
    startClock();
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.abandoned);
    EXPECT_LT(sinceStart(), graces.abandoned + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(SupervisorTest, keepsTheFirstDeadlineThroughLaterRequests) {
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

TEST_F(SupervisorTest, asksTheMainProcessOnceHoweverOftenItIsAskedItself) {
    const FakeClient& client = start("stubborn", StopReaches::mainProcess);
    askToStop();
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    askToStop();
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(SupervisorTest, asksProcessesThatAreBornMeanwhile) {
    constexpr int rounds = 10;
    int timely = 0;
    for (int round = 0; round < rounds; ++round) {
        const FakeClient& client = start("spreads");
        startClock();
        askToStop();
        EXPECT_EQ(result(), 128 + SIGTERM);
        // None ignores SIGTERM: a run that needs the whole grace has missed one.
        timely += sinceStart() < graces.stop ? 1 : 0;
        EXPECT_FALSE(isAnybodyLeft(client));
        leave();
    }
    // On a busy machine the search may be cut short.
    EXPECT_GT(timely, rounds / 2);
}

TEST_F(SupervisorTest, reachesTheMainProcessOnlyWhenToldSo) {
    const FakeClient& client = start("stubborn-pair", StopReaches::mainProcess);
    askToStop();
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    // The child's, after the owner had ended.
    EXPECT_EQ(client.terminations(), 2U);
}

class LeftBehindTest : public SupervisorTest, public testing::WithParamInterface<const char*> {};

TEST_P(LeftBehindTest, endsAfterTheMainProcess) {
    const FakeClient& client = supervise(GetParam());
    EXPECT_EQ(result(), 0);
    EXPECT_FALSE(isAnybodyLeft(client));
}

INSTANTIATE_TEST_SUITE_P(Modes, LeftBehindTest, testing::Values("leaves-grandchild", "daemonises"),
                         [](const auto& tested) {
                             return tested.param == std::string("daemonises") ? "daemon"
                                                                              : "grandchild";
                         });

TEST_F(SupervisorTest, endsAStoppedClient) {
    const FakeClient& client = start("exits-on-terminate");
    ::kill(*client.pid(), SIGSTOP);
    askToStop();
    EXPECT_EQ(result(), 0);
}

TEST_F(SupervisorTest, endsAStoppedClientThatIsReachedAlone) {
    const FakeClient& client = start("exits-on-terminate", StopReaches::mainProcess);
    ::kill(*client.pid(), SIGSTOP);
    askToStop();
    EXPECT_EQ(result(), 0);
}

TEST_F(SupervisorTest, endsAGrowingNumberOfProcesses) {
    const FakeClient& client = start("breeds");
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_TRUE(client.isGone());
    EXPECT_FALSE(isAnybodyLeft(client));
}

TEST_F(SupervisorTest, endsEverythingWheneverTheOwnerEnds) {
    const unsigned seed = std::random_device{}();
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> moment(0, 15000);
    for (int round = 0; round < 100; ++round) {
        const FakeClient& client = supervise("keeps-grandchild");
        std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
        startClock();
        leave();
        result();
        ASSERT_LT(sinceStart(), graces.abandoned + 2s) << "round " << round << ", seed " << seed;
        ASSERT_FALSE(isAnybodyLeft(client)) << "round " << round << ", seed " << seed;
    }
}

class SupervisorSignalTest : public SupervisorTest, public testing::WithParamInterface<int> {};

// Root or the kernel sends these when the session or the system ends.
TEST_P(SupervisorSignalTest, isARequestToStop) {
    const FakeClient& client = start("exits-on-terminate", StopReaches::mainProcess);
    ::kill(supervisor(), GetParam());
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(client.isGone());
}

INSTANTIATE_TEST_SUITE_P(Signals, SupervisorSignalTest,
                         testing::Values(SIGTERM, SIGINT, SIGHUP, SIGQUIT),
                         [](const auto& tested) { return ::sigabbrev_np(tested.param); });

TEST_F(SupervisorTest, killsTheClientWhenItIsKilledItself) {
    const FakeClient& client = start("stubborn");
    ::kill(supervisor(), SIGKILL);
    EXPECT_EQ(result(), -SIGKILL);
    EXPECT_TRUE(waitFor([&client] { return !client.isAlive(); }));
}

} // namespace
} // namespace kestrelnet::privileged
