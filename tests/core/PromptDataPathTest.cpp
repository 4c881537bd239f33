// SPDX-License-Identifier: MIT
// What passes between the controller and a client behind the administrator prompt.
#include "tests/core/PromptLaunchTest.h"

#include "platform/BackgroundThread.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/ScopedVariable.h"

#include <cstddef>
#include <filesystem>
#include <optional>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::StartsWith;

// -- The data path -----------------------------------------------------------------------------

TEST_F(PromptLaunchTest, theClientsOutputComesThroughTheFifo) {
    const FakeClient& client = startBehindPrompt();
    feed(client, "Discovered home server: lisbon\nConnected to relay\n");
    EXPECT_EQ(*manager->serverLocation, "lisbon");
    EXPECT_EQ(*manager->lastLog, "Tunnel connected, setting up routes...");
    feedError(client, "Split-tunnel routes: 2 applied\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
    EXPECT_THAT(log(), ElementsAre("Discovered home server: lisbon", "Connected to relay",
                                   "Split-tunnel routes: 2 applied"));
}

TEST_F(PromptLaunchTest, aClientThatEndsIsAnErrorAndLeavesNoFile) {
    const FakeClient& client = startBehindPrompt("relay-then-routes");
    ASSERT_TRUE(reaches(TunnelStatus::connected));
    client.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    EXPECT_EQ(*manager->serverLocation, "lisbon");
    EXPECT_FALSE(temporaryFilesExist());
}

TEST_F(PromptLaunchTest, theClientGetsTheThreeVariablesFromTheLauncher) {
    const ScopedVariable url("AUTH_URL", "https://inherited.example");
    const FakeClient& client = startBehindPrompt();
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), validKey);
    EXPECT_EQ(client.environment("AUTH_URL"), operatorValues.authURL);
    EXPECT_EQ(client.environment("RELAY_ADDR"), operatorValues.relayAddress);
}

TEST_F(PromptLaunchTest, aKeyWithoutASingleQuoteReachesTheClientUnchanged) {
    manager->apiKey = "dev_ \"$HOME`id`\\;&|<>*?#~!(){}[] \t\xC3\xA9 ";
    const FakeClient& client = startBehindPrompt();
    EXPECT_EQ(client.environment("DEVICE_API_KEY"), *manager->apiKey);
}

TEST_F(PromptLaunchTest, aKeyWithASingleQuoteIsWrittenUnescapedAndBreaksTheLauncher) {
    manager->apiKey = "dev_it's a key";
    installWorkingPrograms();
    const FakeClient& client = installTunnelClient();
    manager->connect();
    EXPECT_THAT(readFile(launcher()),
                StartsWith("#!/bin/bash\nexport DEVICE_API_KEY='dev_it's a key'\n"));
    time.advance(Seconds(1));
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    EXPECT_EQ(client.pid(), std::nullopt);
}

TEST_F(PromptLaunchTest, aClientPathMayContainBlanksAndDollars) {
    world->platform.paths.home = world->root.file("a \"home\" of $HOME");
    restart();
    const FakeClient& client = startBehindPrompt();
    feed(client, "Split-tunnel routes: 1\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
}

TEST_F(PromptLaunchTest, aBlankInTheTemporaryFolderSplitsTheCommand) {
    world->platform.paths.temporaryDirectory = world->root.file("two halves/");
    restart();
    installWorkingPrograms();
    // The shell opens another file, so a reader that opens the FIFO would wait forever.
    installAt(paths().tail, "script");
    const FakeClient& client = installTunnelClient();
    manager->connect();
    EXPECT_TRUE(temporaryFilesExist());
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(client.pid(), std::nullopt);
    // The shell took the first half of the FIFO's path for the complete path.
    EXPECT_TRUE(fs::is_regular_file(world->root.file("two")));
}

// -- Many runs ---------------------------------------------------------------------------------

TEST_F(PromptLaunchTest, manyRunsLeaveNothingBehind) {
    std::size_t threads = 0;
    std::size_t descriptors = 0;
    constexpr int rounds = 20;
    for (int round = 0; round < rounds; ++round) {
        // Each client uses one descriptor of the test for its commands.
        const FakeClient& client = startBehindPrompt("routes");
        ASSERT_TRUE(reaches(TunnelStatus::connected));
        client.exit(0);
        ASSERT_TRUE(reaches(TunnelStatus::error));
        if (round == 0) {
            threads = runningThreads();
            descriptors = openDescriptors();
        }
    }
    EXPECT_TRUE(
        time.waitUntil([&] { return runningThreads() <= threads + BackgroundThread::mostSpares; }));
    // The thread sanitizer starts a program that names functions at its first report, also one that
    // is suppressed, and keeps two pipes to it.
    constexpr std::size_t mostOfSanitizer = 2;
    static_assert(mostOfSanitizer < rounds - 1);
    EXPECT_TRUE(time.waitUntil(
        [&] { return openDescriptors() <= descriptors + rounds - 1 + mostOfSanitizer; }));
}

} // namespace
} // namespace kestrelnet
