// SPDX-License-Identifier: MIT
// How a run ends: who may stop it, how long it takes, and that nothing is left.
#include "tests/privileged/HelperTest.h"
#include "tests/support/Random.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <ostream>
#include <random>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;

using HelperStopTest = HelperTest;
using Clock = std::chrono::steady_clock;

/// The guard of `client`, which is its parent.
pid_t guardOf(const FakeClient& client) {
    return std::stoi(processLine(*client.pid(), "status", "PPid:"));
}

// -- The front ends as the client did -----------------------------------------------------------

TEST_F(HelperStopTest, exitsWithTheClientsStatus) {
    for (const int status : {0, 1, 7, 126, 255}) {
        const FakeClient& client = installClient("script");
        start(client);
        client.exit(status);
        EXPECT_EQ(program->waitStatus(), W_EXITCODE(status, 0));
        EXPECT_EQ(program->output(), "");
        EXPECT_TRUE(nothingIsLeftInTime());
    }
}

TEST_F(HelperStopTest, endsByTheSignalThatEndedTheClient) {
    for (const int signal : {SIGKILL, SIGSEGV, SIGINT, SIGUSR1, SIGPIPE, SIGRTMIN}) {
        const FakeClient& client = installClient("script");
        start(client);
        ASSERT_EQ(::kill(*client.pid(), signal), 0);
        // The wait status has no core flag.
        EXPECT_EQ(program->waitStatus(), signal);
        EXPECT_TRUE(nothingIsLeftInTime());
    }
}

TEST_F(HelperStopTest, endsBySIGABRTWhenTheClientCrashes) {
    installClient("crashes");
    program = std::make_unique<UserProgram>(helperPath);
    EXPECT_EQ(program->waitStatus(), SIGABRT);
}

TEST_F(HelperStopTest, failsWithAMessageWhenTheGuardIsKilled) {
    const FakeClient& client = installClient("script");
    start(client);
    ASSERT_EQ(::kill(guardOf(client), SIGKILL), 0);
    EXPECT_EQ(program->waitStatus(), W_EXITCODE(1, 0));
    EXPECT_EQ(program->output(), "Kestrelnet helper: the tunnel's guard was ended.\n");
    EXPECT_TRUE(nothingIsLeftInTime());
}

// -- Stopping ----------------------------------------------------------------------------------

TEST_F(HelperStopTest, everyRequestReachesTheClientAsSIGTERM) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        const FakeClient& client = installClient("exits-on-terminate");
        start(client);
        EXPECT_EQ(program->send(signal), 0);
        EXPECT_EQ(program->waitStatus(), 0) << signal;
        EXPECT_TRUE(nothingIsLeftInTime());
    }
}

TEST_F(HelperStopTest, aStubbornClientHasItsFullThreeSeconds) {
    const FakeClient& client = installClient("stubborn");
    start(client);
    const auto asked = Clock::now();
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_TRUE(waitFor([&] { return client.terminations() == 1; }));
    EXPECT_EQ(program->waitStatus(), SIGKILL);
    EXPECT_GE(Clock::now() - asked, 3s);
    EXPECT_TRUE(timeUntilNothingIsLeft());
    EXPECT_LE(Clock::now() - asked, endsWithin);
    EXPECT_EQ(client.terminations(), 1U);
}

TEST_F(HelperStopTest, killingTheFrontEndsEverything) {
    const FakeClient& client = installClient("script");
    start(client);
    EXPECT_EQ(program->send(SIGKILL), 0);
    EXPECT_EQ(program->waitStatus(), SIGKILL);
    const auto time = timeUntilNothingIsLeft();
    ASSERT_TRUE(time);
    EXPECT_LE(*time, 2s);
}

TEST_F(HelperStopTest, killingTheFrontEndsDeafAndStoppedDescendants) {
    const FakeClient& client = installClient("family");
    start(client);
    EXPECT_TRUE(waitFor([] { return rootWorld::processes().size() >= 6; }));
    EXPECT_EQ(program->send(SIGKILL), 0);
    const auto time = timeUntilNothingIsLeft();
    ASSERT_TRUE(time) << testing::PrintToString(rootWorld::processes());
    EXPECT_LE(*time, 2s);
}

TEST_F(HelperStopTest, theTunnelEndsWithTheProcessThatStartedTheHelper) {
    const FakeClient& client = installClient("exits-on-terminate");
    start(client, {.hasOwnStarter = true});
    ASSERT_EQ(UserProgram::send(rootWorld::user, program->starter(), SIGKILL), 0);
    const auto time = timeUntilNothingIsLeft();
    ASSERT_TRUE(time) << testing::PrintToString(rootWorld::processes());
    EXPECT_LE(*time, 2s);
}

TEST_F(HelperStopTest, processesThatTheClientLeavesBehindEndToo) {
    for (const char* mode : {"leaves-grandchild", "daemonises"}) {
        const FakeClient& client = installClient(mode);
        program = std::make_unique<UserProgram>(helperPath);
        EXPECT_EQ(program->waitStatus(), 0) << mode;
        EXPECT_TRUE(client.pid().has_value());
        EXPECT_TRUE(nothingIsLeftInTime());
    }
}

TEST_F(HelperStopTest, aStoppedFrontCanBeKilled) {
    const FakeClient& client = installClient("script");
    start(client);
    EXPECT_EQ(program->send(SIGSTOP), 0);
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->send(SIGKILL), 0);
    EXPECT_TRUE(nothingIsLeftInTime());
}

// -- Who may do what ---------------------------------------------------------------------------

TEST_F(HelperStopTest, nobodyElseMaySignalTheRun) {
    const FakeClient& client = installClient("script");
    start(client);
    const pid_t guard = guardOf(client);
    for (const int signal : {SIGTERM, SIGKILL, SIGSTOP, 0}) {
        EXPECT_EQ(UserProgram::send(rootWorld::stranger, program->pid(), signal), EPERM);
        EXPECT_EQ(UserProgram::send(rootWorld::stranger, guard, signal), EPERM);
        EXPECT_EQ(UserProgram::send(rootWorld::stranger, *client.pid(), signal), EPERM);
        // Its own user may signal the front only.
        EXPECT_EQ(UserProgram::send(rootWorld::user, guard, signal), EPERM);
        EXPECT_EQ(UserProgram::send(rootWorld::user, *client.pid(), signal), EPERM);
    }
    EXPECT_TRUE(client.isAlive());
    client.exit(0);
    EXPECT_EQ(program->waitStatus(), 0);
}

TEST_F(HelperStopTest, theGuardHasASessionOfItsOwn) {
    // When a terminal closes, the kernel signals every process of its session.
    const FakeClient& client = installClient("script");
    start(client);
    const pid_t guard = guardOf(client);
    EXPECT_EQ(::getsid(guard), guard);
    EXPECT_EQ(::getpgid(guard), guard);
    EXPECT_EQ(::getsid(*client.pid()), *client.pid());
}

TEST_F(HelperStopTest, anyUserMayRunIt) {
    const FakeClient& client = installClient("exits-on-terminate");
    start(client, {.who = rootWorld::stranger});
    EXPECT_EQ(processLine(*client.pid(), "status", "Uid:"), "0\t0\t0\t0");
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->waitStatus(), 0);
}

TEST_F(HelperStopTest, itsUserMayNotTraceIt) {
    const auto trace = [](pid_t pid) {
        return rootWorld::as(rootWorld::user, [pid] {
            return ::ptrace(PTRACE_SEIZE, pid, nullptr, nullptr) == 0 ? 0 : errno;
        });
    };
    const FakeClient& client = installClient("script");
    start(client);
    EXPECT_EQ(trace(program->pid()), EPERM);
    EXPECT_EQ(trace(guardOf(client)), EPERM);
    EXPECT_EQ(trace(*client.pid()), EPERM);
    client.exit(0);
    EXPECT_EQ(program->waitStatus(), 0);
}

TEST_F(HelperStopTest, itsUserMayNotTraceItWhileItIsRoot) {
    for (int round = 0; round < 50; ++round) {
        installClient("exits-at-once");
        program = std::make_unique<UserProgram>(helperPath);
        const pid_t pid = program->pid();
        // From before its exec to its end. The test has not reaped it: the pid is still its own.
        EXPECT_EQ(rootWorld::as(rootWorld::user,
                                [pid] {
                                    int error = EPERM;
                                    for (int tries = 0; error == EPERM && tries < 5000; ++tries) {
                                        error = ::ptrace(PTRACE_SEIZE, pid, nullptr, nullptr) == 0
                                                    ? 0
                                                    : errno;
                                    }
                                    return error;
                                }),
                  EPERM);
        EXPECT_EQ(program->waitStatus(), W_EXITCODE(3, 0));
    }
}

TEST_F(HelperStopTest, hasNoRightsWhenTracedFromItsStart) {
    FakeClient& client = installClient("script");
    const int found = rootWorld::as(rootWorld::user, [] {
        const pid_t traced = ::fork();
        if (traced == 0) {
            ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            ::execl(helperPath, helperPath, nullptr);
            ::_exit(127);
        }
        int status = 0;
        while (::waitpid(traced, &status, 0) == traced && WIFSTOPPED(status)) {
            ::ptrace(PTRACE_CONT, traced, nullptr, nullptr);
        }
        return WEXITSTATUS(status);
    });
    EXPECT_EQ(found, 1);
    EXPECT_FALSE(client.pid());
}

// -- At any moment -----------------------------------------------------------------------------

enum class Victim {
    frontAsked,
    frontKilled,
    starterKilled,
    guardKilled,
    frontStoppedAndStarterKilled,
    frontAndGuardKilled,
};

class HelperKillTest : public HelperTest, public testing::WithParamInterface<Victim> {
  protected:
    /// The number of runs at a time.
    static constexpr int batch = 20;

    static bool hasOwnStarter() {
        return GetParam() == Victim::starterKilled ||
               GetParam() == Victim::frontStoppedAndStarterKilled;
    }

    static void killGuard(const UserProgram& run) {
        const std::string front = std::to_string(run.pid());
        const std::string guard = readFile("/proc/" + front + "/task/" + front + "/children");
        // It may not have been born yet, or have ended.
        if (!guard.empty()) {
            ::kill(std::stoi(guard), SIGKILL);
        }
    }

    static void strike(const UserProgram& run) {
        switch (GetParam()) {
        case Victim::frontAsked:
            ::kill(run.pid(), SIGTERM);
            break;
        case Victim::frontKilled:
            ::kill(run.pid(), SIGKILL);
            break;
        case Victim::starterKilled:
            ::kill(run.starter(), SIGKILL);
            break;
        case Victim::guardKilled:
            killGuard(run);
            // Where there was no guard, the run is still to end.
            ::kill(run.pid(), SIGTERM);
            break;
        case Victim::frontStoppedAndStarterKilled:
            ::kill(run.pid(), SIGSTOP);
            ::kill(run.starter(), SIGKILL);
            break;
        case Victim::frontAndGuardKilled:
            killGuard(run);
            ::kill(run.pid(), SIGKILL);
            break;
        }
    }

    /// Ends what the test itself has stopped, once nothing else is left.
    static void continueStoppedFronts() {
        [[maybe_unused]] const bool ended = waitFor([] {
            const auto left = rootWorld::processes();
            return std::all_of(left.begin(), left.end(), [](const auto& process) {
                return process.state == 'T' || process.state == 'Z';
            });
        });
        for (const auto& process : rootWorld::processes()) {
            if (process.state == 'T') {
                // One that was stopped in its first moment has not given up its rights yet.
                EXPECT_THAT(processLine(process.pid, "status", "Uid:"),
                            testing::StartsWith("4711\t"));
                ::kill(process.pid, SIGKILL);
            }
        }
    }
};

const char* name(Victim victim) {
    constexpr std::array names{"frontAsked",
                               "frontKilled",
                               "starterKilled",
                               "guardKilled",
                               "frontStoppedAndStarterKilled",
                               "frontAndGuardKilled"};
    return names[static_cast<std::size_t>(victim)];
}

void PrintTo(Victim victim, std::ostream* out) {
    *out << name(victim);
}

INSTANTIATE_TEST_SUITE_P(Victims, HelperKillTest,
                         testing::Values(Victim::frontAsked, Victim::frontKilled,
                                         Victim::starterKilled, Victim::guardKilled,
                                         Victim::frontStoppedAndStarterKilled,
                                         Victim::frontAndGuardKilled),
                         [](const auto& instance) { return std::string(name(instance.param)); });

TEST_P(HelperKillTest, nothingSurvivesAKillAtARandomMoment) {
    constexpr unsigned rounds = 60;
    std::mt19937 random = seededGenerator();
    // In microseconds: from before the start to well after it.
    std::uniform_int_distribution<int> moment(0, 12'000);
    constexpr std::array modes{"script",   "exits-on-terminate", "family",
                               "stubborn", "daemonises",         "keeps-daemon"};
    for (unsigned round = 0; round < rounds; round += batch) {
        installClient(modes[round / batch % modes.size()]);
        std::vector<std::unique_ptr<UserProgram>> runs;
        for (int run = 0; run < batch; ++run) {
            runs.push_back(std::make_unique<UserProgram>(
                helperPath, Options{.hasOwnStarter = hasOwnStarter()}));
            const auto time = Clock::now() + std::chrono::microseconds(moment(random));
            while (Clock::now() < time) {
            }
            strike(*runs.back());
        }
        if (GetParam() == Victim::frontStoppedAndStarterKilled) {
            continueStoppedFronts();
        }
        ASSERT_TRUE(nothingIsLeftInTime()) << "round " << round;
    }
}

} // namespace
} // namespace kestrelnet
