// SPDX-License-Identifier: MIT
#include "privileged/Supervisor.h"

#include "privileged/Lifeline.h"
#include "tests/support/FakeClient.h"
#include "tests/support/Random.h"
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

/// Whether any process of `client` is there still, whoever its parent is by now.
bool isAnybodyLeft(const FakeClient& client) {
    const std::filesystem::path folder = std::filesystem::path(client.executable()).parent_path();
    const std::filesystem::directory_iterator processes("/proc");
    return std::any_of(begin(processes), end(processes), [&folder](const auto& entry) {
        return readFile(entry.path() / "cmdline").find(folder) != std::string::npos;
    });
}

/// A supervisor in a process of its own, of which the test is the owner. It needs no rights to keep
/// an ordinary user's processes.
class SupervisorTest : public testing::Test {
  protected:
    // What the supervisor's process exits with when nothing was started.
    static constexpr int notStarted = 99;

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
                kept_, reach, [&program] { ::execl(program.c_str(), program.c_str(), nullptr); });
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
    /// The same, whether somebody hears it or not.
    void nag() const {
        ::send(owner_, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    void leave() {
        if (owner_ >= 0) {
            ::close(std::exchange(owner_, -1));
        }
    }
    /// Waits for the supervisor's end; its exit status.
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

TEST_F(SupervisorTest, startsNothingForAnOwnerWhoHasGone) {
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

TEST_F(SupervisorTest, givesAStubbornClientThreeSecondsAndNoMoreThanFour) {
    const FakeClient& client = start("stubborn");
    startClock();
    askToStop();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), 3s);
    EXPECT_LT(sinceStart(), 4s);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(SupervisorTest, asksOnlyOnceWhenTheOwnerThenLeaves) {
    const FakeClient& client = start("stubborn", StopReaches::mainProcess);
    startClock();
    askToStop();
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_LT(sinceStart(), 2s);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(SupervisorTest, endsAStubbornClientSoonAfterTheOwnerHasGone) {
    const FakeClient& client = start("stubborn");
    startClock();
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), 1s);
    EXPECT_LT(sinceStart(), 2s);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(SupervisorTest, keepsTheFirstDeadlineThroughLaterRequests) {
    start("stubborn");
    startClock();
    const std::jthread nagging([this](const std::stop_token& end) {
        while (!end.stop_requested()) {
            nag();
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_LT(sinceStart(), 4s);
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

TEST_F(SupervisorTest, asksThoseTooThatAreBornMeanwhile) {
    constexpr int rounds = 10;
    int timely = 0;
    for (int round = 0; round < rounds; ++round) {
        const FakeClient& client = start("spreads");
        startClock();
        askToStop();
        EXPECT_EQ(result(), 128 + SIGTERM);
        // Nobody is deaf, so that nobody need be killed at the end of the grace.
        timely += sinceStart() < 3s ? 1 : 0;
        EXPECT_FALSE(isAnybodyLeft(client));
        leave();
    }
    // On a busy machine the search may run out of its time.
    EXPECT_GT(timely, rounds / 2);
}

TEST_F(SupervisorTest, reachesTheMainProcessAloneWhenSoAsked) {
    const FakeClient& client = start("stubborn-pair", StopReaches::mainProcess);
    askToStop();
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    // The child's, once the owner had gone.
    EXPECT_EQ(client.terminations(), 2U);
}

class LeftBehindTest : public SupervisorTest, public testing::WithParamInterface<const char*> {};

TEST_P(LeftBehindTest, isEndedWithTheMainProcess) {
    const FakeClient& client = supervise(GetParam());
    EXPECT_EQ(result(), 0);
    EXPECT_FALSE(isAnybodyLeft(client));
}

INSTANTIATE_TEST_SUITE_P(Modes, LeftBehindTest, testing::Values("leaves-grandchild", "daemonises"),
                         [](const auto& tested) {
                             return tested.param == std::string("daemonises") ? "daemon"
                                                                              : "grandchild";
                         });

TEST_F(SupervisorTest, endsAClientThatIsStopped) {
    const FakeClient& client = start("exits-on-terminate");
    ::kill(*client.pid(), SIGSTOP);
    askToStop();
    EXPECT_EQ(result(), 0);
}

TEST_F(SupervisorTest, endsAClientThatIsStoppedWhenItAloneIsReached) {
    const FakeClient& client = start("exits-on-terminate", StopReaches::mainProcess);
    ::kill(*client.pid(), SIGSTOP);
    askToStop();
    EXPECT_EQ(result(), 0);
}

TEST_F(SupervisorTest, endsAllOfAFamilyThatGrowsMeanwhile) {
    const FakeClient& client = start("breeds");
    leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_TRUE(client.isGone());
    EXPECT_FALSE(isAnybodyLeft(client));
}

TEST_F(SupervisorTest, endsEverythingAtWhateverMomentTheOwnerGoes) {
    std::mt19937 random = seededGenerator();
    std::uniform_int_distribution<int> moment(0, 15000);
    for (int round = 0; round < 100; ++round) {
        const FakeClient& client = supervise("keeps-grandchild");
        std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
        startClock();
        leave();
        result();
        ASSERT_LT(sinceStart(), 4s) << "round " << round;
        ASSERT_FALSE(isAnybodyLeft(client)) << "round " << round;
    }
}

class SupervisorSignalTest : public SupervisorTest, public testing::WithParamInterface<int> {};

// From root, or from the kernel: when the session or the system ends.
TEST_P(SupervisorSignalTest, isARequestToStop) {
    const FakeClient& client = start("exits-on-terminate", StopReaches::mainProcess);
    ::kill(supervisor(), GetParam());
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(client.isGone());
}

INSTANTIATE_TEST_SUITE_P(Signals, SupervisorSignalTest,
                         testing::Values(SIGTERM, SIGINT, SIGHUP, SIGQUIT),
                         [](const auto& tested) { return ::sigabbrev_np(tested.param); });

TEST_F(SupervisorTest, takesTheClientAlongWhenItIsKilledItself) {
    const FakeClient& client = start("stubborn");
    ::kill(supervisor(), SIGKILL);
    EXPECT_EQ(result(), -SIGKILL);
    EXPECT_TRUE(waitFor([&client] { return !client.isAlive(); }));
}

} // namespace
} // namespace kestrelnet::privileged
