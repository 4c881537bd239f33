// SPDX-License-Identifier: MIT
// Connecting behind the administrator prompt, with the real polkit.
#include "tests/support/polkit/PromptTest.h"

#include <filesystem>

namespace kestrelnet {
namespace {

using testing::HasSubstr;

class PromptConnectTest : public PromptTest {
  protected:
    void SetUp() override {
        PromptTest::SetUp();
        world.startPolkit();
    }
};

TEST_F(PromptConnectTest, theRightPasswordConnectsAndDisconnectingNeedsNone) {
    ChildProgram& agent = world.startAgent("right");
    FakeClient& client = connect();
    EXPECT_TRUE(tells("status Connecting..."));
    EXPECT_TRUE(tells("log Split-tunnel routes: 2 applied"));
    EXPECT_TRUE(tells("status Connected"));
    EXPECT_EQ(client.found("user"), std::vector<std::string>{"0 0 0"});

    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    EXPECT_TRUE(isTidy());
    EXPECT_TRUE(client.isGone());
    EXPECT_THAT(agent.readLine().value_or(""), HasSubstr("request"));
    EXPECT_EQ(agent.readLine(), "answered SUCCESS");
}

TEST_F(PromptConnectTest, showsEachLineAtOnce) {
    world.startAgent("right");
    FakeClient& client = connect("script");
    for (int line = 0; line < 20; ++line) {
        const std::string text = "line " + std::to_string(line);
        client.say(text + "\n");
        ASSERT_TRUE(tells("log " + text));
    }
}

TEST_F(PromptConnectTest, eachConnectAsksAgain) {
    ChildProgram& agent = world.startAgent("right");
    connect();
    EXPECT_TRUE(tells("status Connected"));
    controller->tell("disconnect");
    EXPECT_TRUE(tells("status Disconnected"));
    install("relay-then-routes");
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
    for (int request = 0; request < 2; ++request) {
        EXPECT_THAT(agent.readLine().value_or(""), HasSubstr("request"));
        EXPECT_EQ(agent.readLine(), "answered SUCCESS");
    }
}

TEST_F(PromptConnectTest, twentyReconnectsLeaveNothingBehind) {
    world.startAgent("right");
    startController();
    const std::string descriptors = "/proc/" + std::to_string(controller->pid()) + "/fd";
    const auto count = [&descriptors] {
        const std::filesystem::directory_iterator open(descriptors);
        return std::distance(begin(open), end(open));
    };
    constexpr int rounds = 20;
    // The lookups of the exit address come and go meanwhile, a few descriptors each.
    constexpr std::ptrdiff_t slack = rounds / 4;
    std::ptrdiff_t halfway = 0;
    for (int round = 0; round < rounds; ++round) {
        install("relay-then-routes");
        controller->tell("connect");
        ASSERT_TRUE(tells("status Connected")) << round;
        controller->tell("disconnect");
        ASSERT_TRUE(tells("status Disconnected")) << round;
        ASSERT_TRUE(isTidy()) << testing::PrintToString(strays());
        if (round == rounds / 2) {
            halfway = count();
        }
    }
    EXPECT_TRUE(waitFor([&] { return count() < halfway + slack; }))
        << count() << " after " << halfway;
}

TEST_F(PromptConnectTest, aKeyMayHoldBlanksDollarsAndDoubleQuotes) {
    world.startAgent("right");
    FakeClient& client = install("script");
    const std::string key = R"(dev_ $HOME `id` "quoted" \ & ; * é)";
    startController(key);
    controller->tell("connect");
    EXPECT_TRUE(waitFor([&client] { return client.isReady(); }));
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), key);
}

TEST_F(PromptConnectTest, aClientsPathMayHoldBlanks) {
    world.startAgent("right");
    const std::string moved = "/opt/Kestrel net";
    std::filesystem::rename(rootWorld::bundle, moved);
    install("relay-then-routes").installAt(moved + "/Contents/Resources/kestrelnet-client");
    std::filesystem::remove("/usr/local/bin/kestrelnet-client");
    controller.emplace(PolkitWorld::inSession({moved + "/Contents/Linux/controller"}));
    controller->tell("key dev_0123456789");
    controller->tell("connect");
    EXPECT_TRUE(tells("status Connected"));
}

TEST_F(PromptConnectTest, reportsAClientThatEndsByItself) {
    world.startAgent("right");
    FakeClient& client = connect();
    EXPECT_TRUE(tells("status Connected"));
    client.exit(7);
    EXPECT_TRUE(tells("status Error"));
    EXPECT_TRUE(tells(exitLine));
    EXPECT_TRUE(isTidy());
}

} // namespace
} // namespace kestrelnet
