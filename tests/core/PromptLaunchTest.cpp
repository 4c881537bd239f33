// SPDX-License-Identifier: MIT
#include "core/PromptLaunch.h"

#include "tests/core/PromptLaunchTest.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/ScopedVariable.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

// -- The texts ---------------------------------------------------------------------------------

TEST(PromptLaunchTextsTest, theLauncherHasFiveLinesAndNoLineFeedAtTheEnd) {
    EXPECT_EQ(launcherScript({.apiKey = "dev_0123456789",
                              .authURL = "https://kestrelnet.example/api",
                              .relayAddress = "192.0.2.1:443",
                              .clientPath = "/usr/local/bin/kestrelnet-client"}),
              "#!/bin/bash\n"
              "export DEVICE_API_KEY='dev_0123456789'\n"
              "export AUTH_URL='https://kestrelnet.example/api'\n"
              "export RELAY_ADDR='192.0.2.1:443'\n"
              "stdbuf -oL '/usr/local/bin/kestrelnet-client' 2>&1");
}

TEST(PromptLaunchTextsTest, theLauncherEscapesNothing) {
    EXPECT_EQ(launcherScript({.apiKey = "dev_'\"\\$`\n",
                              .authURL = "u'",
                              .relayAddress = "r'",
                              .clientPath = "/it's here/client"}),
              "#!/bin/bash\n"
              "export DEVICE_API_KEY='dev_'\"\\$`\n'\n"
              "export AUTH_URL='u''\n"
              "export RELAY_ADDR='r''\n"
              "stdbuf -oL '/it's here/client' 2>&1");
}

TEST(PromptLaunchTextsTest, theStatementIsOpeningPathsAndClosing) {
    EXPECT_EQ(runnerCommand("/run/user/1000/kestrelnet-launcher.sh",
                            "/run/user/1000/kestrelnet-output.fifo"),
              "do shell script \"/run/user/1000/kestrelnet-launcher.sh > "
              "/run/user/1000/kestrelnet-output.fifo 2>&1\" with administrator privileges");
    EXPECT_EQ(runnerCommand("", "").size(), 17U + 3U + 36U);
}

TEST(PromptLaunchTextsTest, theStatementNeitherQuotesNorEscapesThePaths) {
    EXPECT_EQ(runnerCommand("/a b/\"c\\", "/it's"),
              "do shell script \"/a b/\"c\\ > /it's 2>&1\" with administrator privileges");
}

// -- The files ---------------------------------------------------------------------------------

TEST_F(PromptLaunchTest, theLauncherContainsKeyAndPathAndIsExecutable) {
    operatorValues.authURL = "https://kestrelnet.example/other/api";
    operatorValues.relayAddress = "192.0.2.200:443";
    restart();
    manager->apiKey = "dev_a key of the moment";
    startPrompt();
    EXPECT_EQ(readFile(launcher()), "#!/bin/bash\n"
                                    "export DEVICE_API_KEY='dev_a key of the moment'\n"
                                    "export AUTH_URL='https://kestrelnet.example/other/api'\n"
                                    "export RELAY_ADDR='192.0.2.200:443'\n"
                                    "stdbuf -oL '" +
                                        paths().home + "/.kestrelnet/kestrelnet-client' 2>&1");
    EXPECT_EQ(modeOf(launcher()), 0755U);
}

TEST_F(PromptLaunchTest, aLeftoverLauncherIsReplacedWholeAndMadeExecutable) {
    fs::permissions(world->root.write("tmp/kestrelnet-launcher.sh", std::string(5000, 'x')),
                    fs::perms::owner_read | fs::perms::owner_write);
    startPrompt();
    EXPECT_THAT(readFile(launcher()), StartsWith("#!/bin/bash\nexport DEVICE_API_KEY='"));
    EXPECT_LT(fs::file_size(launcher()), 5000U);
    EXPECT_EQ(modeOf(launcher()), 0755U);
}

TEST_F(PromptLaunchTest, theFifoIsAccessibleToTheUserOnly) {
    startPrompt();
    EXPECT_TRUE(fs::is_fifo(fifo()));
    EXPECT_EQ(modeOf(fifo()), 0600U);
}

TEST_F(PromptLaunchTest, aLeftoverFifoIsDeletedAndCreatedAgain) {
    ASSERT_EQ(::mkfifo(fifo().c_str(), 0644), 0);
    // A second link keeps the inode in use, so the new FIFO gets another inode number.
    const std::string old = world->root.file("old");
    fs::create_hard_link(fifo(), old);
    startPrompt();
    EXPECT_TRUE(fs::is_fifo(fifo()));
    EXPECT_NE(statusOf(fifo()).st_ino, statusOf(old).st_ino);
    EXPECT_EQ(modeOf(fifo()), 0600U);
}

TEST_F(PromptLaunchTest, anythingAtTheFifosPathIsReplaced) {
    for (const char* name : {"tmp/kestrelnet-output.fifo", "tmp/kestrelnet-output.fifo/folder/x"}) {
        world->root.write(name, "left over");
        const FakeClient& runner = startPrompt();
        EXPECT_TRUE(fs::is_fifo(fifo())) << name;
        runner.exit(1);
        ASSERT_TRUE(reaches(TunnelStatus::error));
    }
}

TEST_F(PromptLaunchTest, failuresToWriteAreIgnoredAndTheRunContinues) {
    world->platform.paths.temporaryDirectory = world->root.file("missing/");
    manager = makeManager();
    const FakeClient& runner = startPrompt();
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    EXPECT_EQ(*manager->lastLog, "Starting VPN...");
    EXPECT_FALSE(fs::exists(world->root.file("missing")));
    EXPECT_EQ(timers->delays.size(), 1U);
    runner.exit(1);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
}

TEST_F(PromptLaunchTest, aFolderAtTheLaunchersPathIsIgnoredAndTheRunContinues) {
    fs::create_directory(launcher());
    startPrompt();
    EXPECT_TRUE(fs::is_directory(launcher()));
    EXPECT_TRUE(fs::is_fifo(fifo()));
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
}

// -- The runner --------------------------------------------------------------------------------

TEST_F(PromptLaunchTest, theRunnerGetsTwoArgumentsAndTheFirstIsTheOption) {
    EXPECT_THAT(startPrompt().arguments(), ElementsAre("-e", runnerCommand(launcher(), fifo())));
}

TEST_F(PromptLaunchTest, theRunnerInheritsEnvironmentFolderAndStreams) {
    const ScopedVariable mark("KESTRELNET_TEST_MARK", "a b=c");
    const ScopedVariable key("DEVICE_API_KEY", "inherited");
    const FakeClient& runner = startPrompt();
    EXPECT_EQ(runner.environment("KESTRELNET_TEST_MARK"), "a b=c");
    EXPECT_EQ(runner.environment("DEVICE_API_KEY"), "inherited");
    EXPECT_EQ(runner.environment("AUTH_URL"), std::nullopt);
    EXPECT_EQ(runner.environment("RELAY_ADDR"), std::nullopt);
    EXPECT_THAT(runner.found("working-directory"), ElementsAre(fs::current_path().string()));
    EXPECT_THAT(runner.found("descriptor"), ElementsAre("0", "1", "2"));
    for (const int number : {0, 1, 2}) {
        EXPECT_NE(openFile(::getpid(), number), "");
        EXPECT_EQ(openFile(*runner.pid(), number), openFile(::getpid(), number));
    }
}

TEST_F(PromptLaunchTest, theRunnerIsTheProcessOfTheRun) {
    recordNotices();
    const FakeClient& runner = startPrompt();
    EXPECT_EQ(process()->processIdentifier(), runner.pid());
    EXPECT_NE(pipe(), nullptr);
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    EXPECT_EQ(*manager->lastLog, "Starting VPN...");
    EXPECT_EQ(notices.size(), 2U);
}

TEST_F(PromptLaunchTest, withoutARunnerTheStartFailsAndNoReaderIsEverStarted) {
    const FakeClient& reader = installAt(paths().tail, "script");
    recordNotices();
    manager->connect();
    EXPECT_EQ(*manager->lastLog, "Failed to start: No such file or directory");
    EXPECT_EQ(manager->status, TunnelStatus::error);
    EXPECT_THAT(notices, ElementsAre(Snapshot{"Disconnected", "", "none", "none"},
                                     Snapshot{"Connecting...", "", "none", "none"},
                                     Snapshot{"Connecting...", "Starting VPN...", "none", "none"},
                                     Snapshot{"Error", "Starting VPN...", "none", "none"}));
    EXPECT_THAT(timers->delays, IsEmpty());
    time.advance(Seconds(10));
    EXPECT_EQ(reader.pid(), std::nullopt);
}

TEST_F(PromptLaunchTest, afterAFailedStartTheFilesAndTheUnstartedRunRemain) {
    manager->connect();
    time.advance(Seconds(10));
    EXPECT_TRUE(fs::exists(launcher()));
    EXPECT_TRUE(fs::is_fifo(fifo()));
    ASSERT_NE(process(), nullptr);
    EXPECT_EQ(process()->processIdentifier(), 0);
    ASSERT_NE(pipe(), nullptr);
    startPrompt();
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
}

TEST_F(PromptLaunchTest, aClientThatIsRemovedBeforeTheStartLeavesNoTrace) {
    installAt(paths().osascript, "script");
    const auto watching = manager->objectWillChange.subscribe([this] { removeClient(); });
    manager->connect();
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
    EXPECT_EQ(*manager->lastLog, "Starting VPN...");
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
    EXPECT_FALSE(temporaryFilesExist());
    EXPECT_THAT(timers->delays, IsEmpty());
}

// -- The reader --------------------------------------------------------------------------------

TEST_F(PromptLaunchTest, theReaderIsStartedOneSecondAfterTheRunnerWhateverThePromptDoes) {
    startPrompt();
    EXPECT_THAT(timers->delays, ElementsAre(1.0));
    // The program did not exist before, so an earlier start would have failed.
    time.advance(Seconds(0.999));
    const FakeClient& reader = installAt(paths().tail, "script");
    time.advance(Seconds(0.001));
    EXPECT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
}

// The environment is not read on the background thread that starts the reader.
TEST_F(PromptLaunchTest, theReaderGetsTheEnvironmentOfTheConnect) {
    const FakeClient& reader = installAt(paths().tail, "script");
    startPrompt();
    const ScopedVariable later("KESTRELNET_TEST_MARK", "later");
    time.advance(Seconds(1));
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    EXPECT_EQ(reader.environment("KESTRELNET_TEST_MARK"), std::nullopt);
}

TEST_F(PromptLaunchTest, theReaderFollowsTheFifoAndInheritsTheRest) {
    const ScopedVariable mark("KESTRELNET_TEST_MARK", "a b=c");
    const FakeClient& reader = installAt(paths().tail, "script");
    startPrompt();
    time.advance(Seconds(1));
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    EXPECT_THAT(reader.arguments(), ElementsAre("-f", fifo()));
    EXPECT_EQ(reader.environment("KESTRELNET_TEST_MARK"), "a b=c");
    EXPECT_EQ(reader.environment("AUTH_URL"), std::nullopt);
    EXPECT_THAT(reader.found("working-directory"), ElementsAre(fs::current_path().string()));
    EXPECT_THAT(reader.found("descriptor"), ElementsAre("0", "1", "2"));
    EXPECT_EQ(openFile(*reader.pid(), 0), openFile(::getpid(), 0));
    EXPECT_EQ(openFile(*reader.pid(), 2), openFile(::getpid(), 2));
    EXPECT_THAT(openFile(*reader.pid(), 1), StartsWith("pipe:"));
    feed(reader, "Split-tunnel routes: 1\n");
    EXPECT_EQ(manager->status, TunnelStatus::connected);
}

TEST_F(PromptLaunchTest, theReaderIsStartedEvenWhenTheRunnerHasEnded) {
    const FakeClient& reader = installAt(paths().tail, "script");
    startPrompt().exit(1);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    time.advance(Seconds(1));
    EXPECT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
}

TEST_F(PromptLaunchTest, withoutAReaderTheStatusStaysUntilTheUserDisconnects) {
    const FakeClient& runner = startPrompt();
    time.advance(Seconds(3600));
    EXPECT_EQ(snapshot(), (Snapshot{"Connecting...", "Starting VPN...", "none", "none"}));
    manager->disconnect();
    ASSERT_TRUE(endsUnnoticed(runner));
    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_FALSE(temporaryFilesExist());
}

TEST_F(PromptLaunchTest, theReaderIsNotStoppedButItsOutputIsNoLongerRead) {
    const FakeClient& reader = installAt(paths().tail, "script");
    const FakeClient& runner = startPrompt();
    time.advance(Seconds(1));
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    runner.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_TRUE(reader.isAlive());
    // It ends when it writes, because its output has no reader.
    EXPECT_TRUE(time.waitHoldingMain([&] {
        reader.say("late\n");
        return reader.isGone();
    }));
    EXPECT_EQ(*manager->lastLog, exitMessage);
}

// -- The prompt --------------------------------------------------------------------------------

TEST_F(PromptLaunchTest, aCancelledPromptIsAnErrorAndLeavesNoFile) {
    const FakeClient& runner = startPrompt();
    EXPECT_TRUE(temporaryFilesExist());
    runner.exit(1);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(*manager->lastLog, exitMessage);
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
    EXPECT_FALSE(temporaryFilesExist());
}

TEST_F(PromptLaunchTest, aDisconnectEndsThePromptAndLeavesNoFile) {
    const FakeClient& runner = startPrompt();
    manager->disconnect();
    ASSERT_TRUE(endsUnnoticed(runner));
    time.advance(Seconds(0.1));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(process(), nullptr);
    // The clean-up may come before the end when the runner ends very quickly.
    EXPECT_TRUE(time.waitUntil([this] { return !temporaryFilesExist(); }));
}

TEST_F(PromptLaunchTest, thePromptNeitherKeepsTheControllerAliveNorEndsWithIt) {
    const FakeClient& runner = startPrompt();
    const std::weak_ptr<TunnelManager> gone = manager;
    manager.reset();
    EXPECT_TRUE(gone.expired());
    EXPECT_TRUE(runner.isAlive());
    runner.exit(0);
    ASSERT_TRUE(endsUnnoticed(runner));
    time.advance(Seconds(1));
}

} // namespace
} // namespace kestrelnet
