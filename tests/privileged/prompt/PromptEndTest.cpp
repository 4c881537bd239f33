// SPDX-License-Identifier: MIT
// A run behind the administrator prompt leaves no process, however it ends.
#include "tests/support/polkit/PromptTest.h"

#include <chrono>
#include <csignal>
#include <random>
#include <thread>

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
        const unsigned seed = std::random_device{}();
        std::mt19937 random(seed);
        std::uniform_int_distribution<std::int64_t> moment(earliest.count(), latest.count());
        for (int round = 0; round < rounds; ++round) {
            startController();
            controller->tell("connect");
            std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
            controller->kill();
            ASSERT_TRUE(endsInTime()) << "round " << round << ", seed " << seed;
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

// -- The time that a client has -------------------------------------------------------------------

TEST_F(PromptEndTest, aStubbornClientHasItsFullThreeSeconds) {
    world.startAgent("right");
    FakeClient& client = connect("stubborn");
    const auto start = std::chrono::steady_clock::now();
    controller->tell("disconnect");
    EXPECT_TRUE(waitFor([&client] { return client.terminations() == 1; }));
    EXPECT_TRUE(waitFor([&client] { return client.isGone(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(client.terminations(), 1U);
    EXPECT_TRUE(isTidy());
}

TEST_F(PromptEndTest, aClientMayEndInOrder) {
    world.startAgent("right");
    FakeClient& client = connect("exits-on-terminate");
    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    EXPECT_TRUE(client.isGone());
    EXPECT_TRUE(isTidy());
}

} // namespace
} // namespace kestrelnet
