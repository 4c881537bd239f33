// SPDX-License-Identifier: MIT
#include "privileged/Guard.h"

#include "privileged/Containment.h"
#include "tests/support/FakeClient.h"
#include "tests/support/Random.h"
#include "tests/support/RootWorld.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace kestrelnet::privileged {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// A pair of connected sockets: `here` belongs to the test, `there` to the guard.
struct Connection {
    int here = -1;
    int there = -1;

    void open() {
        std::array<int, 2> ends{-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()), 0);
        here = ends[0];
        there = ends[1];
    }
    void leave() {
        if (here >= 0) {
            ::close(std::exchange(here, -1));
        }
    }
    void give() { ::close(std::exchange(there, -1)); }
};

/// A guard in a containment of its own; the test is its owner and its starter.
class GuardTest : public testing::Test {
  protected:
    /// The exit status of the guard's process when nothing was started.
    static constexpr int notStarted = 99;
    static constexpr int notContained = 98;
    /// Short, so that the tests do not wait for seconds.
    Graces graces{.stop = 600ms, .abandoned = 250ms};
    /// How much later than its grace a run may end on a busy machine.
    static constexpr auto delay = 300ms;

    GuardTest() { connect(); }
    ~GuardTest() override {
        owner.leave();
        starter.leave();
    }

    void connect() {
        owner.leave();
        starter.leave();
        owner.open();
        starter.open();
    }

    /// Starts the guard with the program at `path`.
    void guardProgram(const std::string& path) {
        launcher_ = ::fork();
        if (launcher_ == 0) {
            ::close(owner.here);
            ::close(starter.here);
            ::_exit(launch(path));
        }
        owner.give();
        starter.give();
    }

    /// Starts the guard with a client of `mode`.
    FakeClient& guard(std::string_view mode) {
        client_.emplace(mode);
        guardProgram(client_->executable());
        return *client_;
    }

    FakeClient& start(std::string_view mode) {
        FakeClient& client = guard(mode);
        EXPECT_TRUE(waitFor([&client] { return client.isReady(); }));
        return client;
    }

    void askToStop() const {
        EXPECT_EQ(::send(owner.here, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL), 1);
    }
    /// The same, when the guard may have ended.
    void askToStopInVain() const {
        ::send(owner.here, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    /// Waits for the guard's end. Returns the exit status of the run.
    int result() {
        int status = -1;
        EXPECT_TRUE(waitFor([&] { return ::waitpid(launcher_, &status, WNOHANG) != 0; }));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    /// The guard of `client`, as the test sees it.
    static pid_t guardOf(const FakeClient& client) {
        const std::string status = readFile("/proc/" + std::to_string(*client.pid()) + "/status");
        const std::size_t at = status.find("PPid:");
        EXPECT_NE(at, std::string::npos);
        return std::stoi(status.substr(at + 5));
    }
    /// Whether no process but the test's own ended children is left.
    static bool isNothingLeft() { return rootWorld::processes().empty(); }

    Clock::duration sinceStart() const { return Clock::now() - start_; }
    void startClock() { start_ = Clock::now(); }

    Connection owner;
    Connection starter;

  private:
    /// In the process outside the containment. Returns the guard's exit status.
    int launch(const std::string& program) const {
        const containment::Forked forked = containment::fork();
        if (forked.pid == 0) {
            if (containment::enter() != nullptr) {
                ::_exit(notContained);
            }
            const auto end = guardRun(
                {.owner = owner.there, .starter = starter.there},
                [&] { ::execl(program.c_str(), program.c_str(), nullptr); }, graces);
            ::_exit(end ? end->exitStatus() : notStarted);
        }
        ::close(owner.there);
        int status = notContained << 8;
        ::waitpid(forked.pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    pid_t launcher_ = -1;
    std::optional<FakeClient> client_;
    Clock::time_point start_;
};

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
    const FakeClient& client = start("stubborn");
    startClock();
    owner.leave();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_GE(sinceStart(), graces.abandoned);
    EXPECT_LT(sinceStart(), graces.abandoned + delay);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, killsAStubbornClientSoonAfterTheStarterHasEnded) {
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

TEST_F(GuardTest, asksOrphansWhenTheyBecomeItsChildren) {
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

TEST_F(GuardTest, asksAnOrphanWhileTheMainProcessGoesOn) {
    graces.stop = 10s;
    const TemporaryFolder folder;
    const std::string ready = folder.file("ready");
    const std::string abandoned = folder.file("abandoned");
    const std::string asked = folder.file("asked");
    const std::string orphan =
        folder.write("orphan", "#!/bin/sh\ntrap 'echo asked >>" + asked + "; exit' TERM\n: >" +
                                   ready + "\nwhile :; do sleep 0.02; done\n");
    // Goes on until the orphan is asked.
    const std::string main =
        folder.write("main", "#!/bin/sh\ntrap : TERM\n(sh " + orphan + " & while [ ! -e " +
                                 abandoned + " ]; do sleep 0.02; done) &\nwhile [ ! -s " + asked +
                                 " ]; do sleep 0.02; done\nexit 7\n");
    ASSERT_EQ(::chmod(main.c_str(), 0700), 0);
    guardProgram(main);
    EXPECT_TRUE(waitFor([&] { return ::access(ready.c_str(), F_OK) == 0; }));
    askToStop();
    folder.write("abandoned", "");
    EXPECT_EQ(result(), 7);
    EXPECT_EQ(readFile(asked), "asked\n");
}

TEST_F(GuardTest, asksNoChildOfAProcessThatItAsks) {
    const FakeClient& client = start("stubborn-pair");
    askToStop();
    EXPECT_EQ(result(), 128 + SIGKILL);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(GuardTest, asksADaemonOnce) {
    const FakeClient& client = start("keeps-daemon");
    EXPECT_TRUE(waitFor([&client] { return client.grandchild().has_value(); }));
    startClock();
    askToStop();
    // The main process ends at once; the daemon keeps the time that the run was given.
    EXPECT_EQ(result(), 128 + SIGTERM);
    EXPECT_GE(sinceStart(), graces.stop);
    EXPECT_EQ(client.terminations(), 1U);
    EXPECT_TRUE(isNothingLeft());
}

class LeftBehindTest : public GuardTest, public testing::WithParamInterface<const char*> {};

TEST_P(LeftBehindTest, endsAfterTheMainProcess) {
    guard(GetParam());
    EXPECT_EQ(result(), 0);
    EXPECT_TRUE(isNothingLeft());
}

INSTANTIATE_TEST_SUITE_P(Modes, LeftBehindTest, testing::Values("leaves-grandchild", "daemonises"),
                         [](const auto& tested) {
                             return tested.param == std::string("daemonises") ? "daemon"
                                                                              : "grandchild";
                         });

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

/// With clients whose processes try to escape, ignore SIGTERM, or multiply.
class GuardKillTest : public GuardTest, public testing::WithParamInterface<const char*> {};

TEST_P(GuardKillTest, takesEveryProcessWithIt) {
    const FakeClient& client = start(GetParam());
    startClock();
    ::kill(guardOf(client), SIGKILL);
    EXPECT_EQ(result(), 128 + SIGKILL);
    // The guard's end is the end of all.
    EXPECT_TRUE(isNothingLeft()) << testing::PrintToString(rootWorld::processes());
    EXPECT_LT(sinceStart(), delay);
}

INSTANTIATE_TEST_SUITE_P(Clients, GuardKillTest,
                         testing::Values("stubborn", "family", "keeps-daemon", "breeds", "spreads"),
                         [](const auto& tested) {
                             std::string name = tested.param;
                             std::erase(name, '-');
                             return name;
                         });

} // namespace
} // namespace kestrelnet::privileged
