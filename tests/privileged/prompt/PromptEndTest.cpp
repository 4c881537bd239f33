// SPDX-License-Identifier: MIT
// A run behind the administrator prompt leaves no process, however it ends.
#include "tests/support/Random.h"
#include "tests/support/UserProgram.h"
#include "tests/support/polkit/PromptTest.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace kestrelnet {
namespace {

using testing::HasSubstr;

class PromptEndTest : public PromptTest, public testing::WithParamInterface<const char*> {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
    }

    /// Waits until nothing of the run is left. Returns whether that took less than four seconds.
    bool endsInTime() const {
        const auto start = std::chrono::steady_clock::now();
        return isTidy() && std::chrono::steady_clock::now() - start < std::chrono::seconds(4);
    }

    pid_t runner() {
        const auto pid = find("/Contents/Helpers/osascript");
        EXPECT_TRUE(pid);
        return pid.value_or(-1);
    }
};

// -- With clients that end, that do not, and that leave other processes behind -------------------

using PromptClientTest = PromptEndTest;

TEST_P(PromptClientTest, endsAfterADisconnect) {
    world.startAgent("right");
    connect(GetParam());
    controller->tell("disconnect");
    EXPECT_TRUE(endsInTime());
    EXPECT_TRUE(tells("status Disconnected"));
}

TEST_P(PromptClientTest, endsWithTheRunnersTermination) {
    world.startAgent("right");
    connect(GetParam());
    ::kill(runner(), SIGTERM);
    EXPECT_TRUE(endsInTime());
    EXPECT_TRUE(tells("status Error"));
}

TEST_P(PromptClientTest, endsWithTheRunnersDeath) {
    world.startAgent("right");
    connect(GetParam());
    ::kill(runner(), SIGKILL);
    EXPECT_TRUE(endsInTime());
    EXPECT_TRUE(tells("status Error"));
}

TEST_P(PromptClientTest, endsWithTheApplicationsDeath) {
    world.startAgent("right");
    connect(GetParam());
    controller->kill();
    EXPECT_TRUE(endsInTime());
}

TEST_P(PromptClientTest, endsWithTheApplicationsEnd) {
    world.startAgent("right");
    connect(GetParam());
    controller->tell("quit");
    EXPECT_TRUE(endsInTime());
    EXPECT_EQ(controller->exitStatus(), 0);
}

INSTANTIATE_TEST_SUITE_P(Clients, PromptClientTest,
                         testing::Values("relay-then-routes", "stubborn", "exits-on-terminate",
                                         "keeps-grandchild", "keeps-daemon"),
                         [](const auto& tested) {
                             std::string name = tested.param;
                             std::erase(name, '-');
                             return name;
                         });

// -- With the prompt open ------------------------------------------------------------------------

class PromptOpenTest : public PromptEndTest {
  protected:
    void SetUp() override {
        PromptEndTest::SetUp();
        agent = &world.startAgent("--hang");
        install("relay-then-routes");
        startController();
        controller->tell("connect");
        EXPECT_THAT(agent->readLine().value_or(""), HasSubstr("request"));
    }

    ChildProgram* agent = nullptr;
};

TEST_F(PromptOpenTest, closesWithTheRunnersTermination) {
    ::kill(runner(), SIGTERM);
    EXPECT_TRUE(endsInTime());
    EXPECT_EQ(agent->readLine(), "cancelled");
}

TEST_F(PromptOpenTest, closesWithTheRunnersDeath) {
    ::kill(runner(), SIGKILL);
    EXPECT_TRUE(endsInTime());
    EXPECT_EQ(agent->readLine(), "cancelled");
}

TEST_F(PromptOpenTest, closesWithTheApplicationsDeath) {
    controller->kill();
    EXPECT_TRUE(endsInTime());
    EXPECT_EQ(agent->readLine(), "cancelled");
}

// -- At any moment -------------------------------------------------------------------------------

class PromptKillTest : public PromptEndTest {
  protected:
    void killTheApplication(std::chrono::microseconds earliest, std::chrono::microseconds latest,
                            int rounds) {
        world.startAgent("right");
        install("stubborn");
        std::mt19937 random = seededGenerator();
        std::uniform_int_distribution<std::int64_t> moment(earliest.count(), latest.count());
        for (int round = 0; round < rounds; ++round) {
            startController();
            controller->tell("connect");
            std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
            controller->kill();
            if (strays().empty()) {
                removeRunFiles();
            }
            ASSERT_TRUE(endsInTime()) << "round " << round;
        }
    }

  private:
    /// After a kill before the runner's start, nobody is left who could remove the files.
    static void removeRunFiles() {
        const std::filesystem::path folder = "/run/user/" + std::to_string(rootWorld::user.uid);
        for (const std::string& name : runFiles()) {
            std::filesystem::remove(folder / name);
        }
    }
};

TEST_F(PromptKillTest, nothingIsLeftAfterAKillDuringThePrompt) {
    using namespace std::chrono_literals;
    killTheApplication(0ms, 250ms, 40);
}

TEST_F(PromptKillTest, nothingIsLeftAfterAKillDuringTheClientsStart) {
    using namespace std::chrono_literals;
    killTheApplication(990ms, 1050ms, 10);
}

// -- The processes of a run -------------------------------------------------------------------

class PromptScriptTest : public PromptEndTest {
  protected:
    void SetUp() override {
        PromptEndTest::SetUp();
        world.startAgent("right");
    }

    /// The root processes of the run that have not ended.
    std::vector<rootWorld::Survivor> rootProcesses() const {
        auto found = strays();
        std::erase_if(found, [](const auto& each) {
            return each.state == 'Z' ||
                   each.command.find("/Contents/Helpers/osascript") != std::string::npos ||
                   each.command.starts_with("/usr/bin/tail") || each.uid == rootWorld::user.uid;
        });
        return found;
    }
};

TEST_F(PromptScriptTest, aStoppedOsascriptKeepsNoRunAlive) {
    connectScript(": >/tmp/ready\nexec sleep 600\n");
    const pid_t osascript = runner();
    // SIGSTOP would not do: the kernel continues a stopped process whose parent ends.
    ASSERT_EQ(::ptrace(PTRACE_SEIZE, osascript, nullptr, nullptr), 0);
    ASSERT_EQ(::ptrace(PTRACE_INTERRUPT, osascript, nullptr, nullptr), 0);
    ASSERT_EQ(::waitpid(osascript, nullptr, __WALL), osascript);
    controller->kill();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(waitFor([this] { return rootProcesses().empty(); }))
        << testing::PrintToString(rootProcesses());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    ASSERT_EQ(::ptrace(PTRACE_DETACH, osascript, nullptr, nullptr), 0);
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptScriptTest, theUserMayEndTheFrontAndNothingElse) {
    connectScript(": >/tmp/ready\nexec sleep 600\n");
    const auto [front, guard] = processesOfTheRunner();
    EXPECT_EQ(UserProgram::send(rootWorld::user, guard, SIGKILL), EPERM);
    EXPECT_EQ(UserProgram::send(rootWorld::stranger, front, SIGKILL), EPERM);
    EXPECT_EQ(UserProgram::send(rootWorld::user, front, SIGKILL), 0);
    EXPECT_TRUE(endsInTime()) << testing::PrintToString(strays());
    EXPECT_TRUE(tells("status Error"));
}

TEST_F(PromptScriptTest, noRootProcessHasAStreamOfTheApplication) {
    connectScript(": >/tmp/ready\nexec sleep 600\n");
    const auto [front, guard] = processesOfTheRunner();
    const auto stream = [](pid_t pid, int number) {
        return std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/fd/" +
                                             std::to_string(number));
    };
    EXPECT_EQ(stream(front, STDOUT_FILENO), stream(controller->pid(), STDOUT_FILENO));
    EXPECT_NE(stream(guard, STDOUT_FILENO), stream(front, STDOUT_FILENO));
    EXPECT_NE(stream(guard, STDERR_FILENO), stream(front, STDERR_FILENO));
}

TEST_F(PromptScriptTest, noProcessOutlivesAGuardThatIsKilled) {
    connectScript("setsid -f sh -c 'trap \"\" TERM HUP INT; sleep 600; sleep 600'\n"
                  "setsid -f setpriv --reuid=4712 --regid=4712 --clear-groups sleep 600\n"
                  "(sh -c 'setsid sleep 600 & sleep 600' &)\n"
                  "while [ $(pidof sleep | wc -w) -lt 4 ]; do :; done\n"
                  ": >/tmp/ready\nsleep 600\n");
    const pid_t guard = processesOfTheRunner().second;
    ASSERT_EQ(::getsid(guard), guard);
    ASSERT_EQ(::kill(guard, SIGKILL), 0);
    EXPECT_TRUE(endsInTime()) << testing::PrintToString(strays());
}

} // namespace
} // namespace kestrelnet
