// SPDX-License-Identifier: MIT
#include "core/PromptLaunch.h"

#include "tests/core/TunnelTest.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/ScopedVariable.h"
#include "tests/support/Waiting.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// Records the delays of the delayed jobs.
class NotingQueue : public BackgroundQueue {
  public:
    explicit NotingQueue(std::shared_ptr<BackgroundQueue> queue) : queue_(std::move(queue)) {}
    void async(Job job) override { queue_->async(std::move(job)); }
    void asyncAfter(Seconds delay, Job job) override {
        delays.push_back(delay.count());
        queue_->asyncAfter(delay, std::move(job));
    }
    std::optional<Error> prepare(Job job, std::unique_ptr<PreparedJob>& prepared) override {
        std::unique_ptr<PreparedJob> real;
        auto error = queue_->prepare(std::move(job), real);
        prepared = std::make_unique<NotingJob>(*this, std::move(real));
        return error;
    }
    std::vector<double> delays;

  private:
    class NotingJob : public PreparedJob {
      public:
        NotingJob(NotingQueue& queue, std::unique_ptr<PreparedJob> job)
            : queue_(&queue), job_(std::move(job)) {}
        void startAfter(Seconds delay) override {
            if (delay > Seconds::zero()) {
                queue_->delays.push_back(delay.count());
            }
            job_->startAfter(delay);
        }

      private:
        NotingQueue* queue_;
        std::unique_ptr<PreparedJob> job_;
    };

    std::shared_ptr<BackgroundQueue> queue_;
};

class PromptLaunchTest : public TunnelTest {
  protected:
    PromptLaunchTest() {
        world->platform.backgroundQueue = timers;
        restart();
    }

    /// Creates the controller again after a change of the platform, without a helper.
    void restart() {
        fs::remove(paths().helper);
        fs::create_directories(paths().temporaryDirectory);
        manager = makeManager();
    }

    /// Installs a working runner and reader. The runner passes the statement's command to a
    /// shell immediately, without asking for a password.
    void installWorkingPrograms() const {
        writeProgram("usr/bin/osascript", "statement=${2#'do shell script \"'}\n"
                                          "exec sh -c \"${statement%'\" with administrator "
                                          "privileges'}\"\n");
        writeProgram("usr/bin/tail", "exec cat \"$2\"\n");
    }

    void writeProgram(std::string_view name, std::string_view text) const {
        // Not through the link to a client.
        fs::remove(world->root.file(name));
        fs::permissions(world->root.write(name, "#!/bin/sh\n" + std::string(text)),
                        fs::perms::owner_all);
    }

    FakeClient& installTunnelClient(std::string_view mode = "script") {
        return installAt(paths().home + "/.kestrelnet/kestrelnet-client", mode);
    }

    /// Connects with a client, a working runner and a working reader, and waits for the client.
    FakeClient& startBehindPrompt(std::string_view mode = "script") {
        installWorkingPrograms();
        FakeClient& client = installTunnelClient(mode);
        manager->connect();
        time.advance(Seconds(1));
        EXPECT_TRUE(time.waitHoldingMain([&] { return client.isReady(); })) << mode;
        return client;
    }

    /// Connects with a runner that does nothing: the prompt is shown until it exits.
    FakeClient& startPrompt(std::string_view mode = "script") {
        FakeClient& runner = installAt(paths().osascript, mode);
        manager->connect();
        EXPECT_TRUE(time.waitHoldingMain([&] { return runner.isReady(); }));
        return runner;
    }

    static struct stat statusOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status;
    }
    static unsigned modeOf(const std::string& path) { return statusOf(path).st_mode & 07777U; }

    std::string launcher() const { return temporary("kestrelnet-launcher.sh"); }
    std::string fifo() const { return temporary("kestrelnet-output.fifo"); }
    bool temporaryFilesExist() const { return fs::exists(launcher()) || fs::exists(fifo()); }

    std::shared_ptr<NotingQueue> timers =
        std::make_shared<NotingQueue>(world->platform.backgroundQueue);
};

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

// -- A run that the controller has lost track of -------------------------------------------------

/// A clean-up that comes late releases the present run.
class ForgottenRunTest : public PromptLaunchTest {
  protected:
    /// Ends a first run by a disconnect whose clean-up is still pending.
    void leaveCleanUpPending() {
        const FakeClient& first = startPrompt("stubborn");
        // Its reader is not installed yet.
        time.advance(Seconds(1));
        manager->disconnect();
        time.settle();
        ASSERT_EQ(time.sleeperCount(), 1U);
        first.exit(0);
        ASSERT_TRUE(reaches(TunnelStatus::error));
    }

    /// Runs the clean-up.
    void forget() {
        time.advance(Seconds(0.1));
        ASSERT_EQ(manager->status, TunnelStatus::disconnected);
        ASSERT_EQ(process(), nullptr);
    }
};

TEST_F(ForgottenRunTest, theReaderStartsAndReadsEverythingSoThatTheClientRuns) {
    leaveCleanUpPending();
    installWorkingPrograms();
    // More than all pipes hold.
    const FakeClient& client =
        installAt(paths().home + "/.kestrelnet/kestrelnet-client", "flood", "1");
    manager->connect();
    forget();
    time.advance(Seconds(0.9));
    EXPECT_TRUE(time.waitHoldingMain([&] { return client.isReady(); }));
    EXPECT_THAT(log(), IsEmpty());
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    client.exit(0);
    EXPECT_TRUE(time.waitUntil([this] { return !temporaryFilesExist(); }));
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
}

TEST_F(ForgottenRunTest, aClientWhoseReaderRunsAlreadyContinuesAsWell) {
    const FakeClient& first = startPrompt();
    // Its reader is not installed yet, so it cannot take the second run's output.
    time.advance(Seconds(1));
    manager->status = TunnelStatus::error;
    installWorkingPrograms();
    const FakeClient& client = installTunnelClient();
    manager->connect();
    time.advance(Seconds(1));
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.isReady(); }));
    // The late end of the first run detaches the output of the second one.
    first.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    ASSERT_EQ(pipe(), nullptr);
    for (int chunk = 0; chunk < 64; ++chunk) {
        client.say(std::string(4096, 'x'));
    }
    EXPECT_TRUE(time.waitHoldingMain([&] { return client.isHeard(); }));
    EXPECT_TRUE(client.isAlive());
}

TEST_F(ForgottenRunTest, theReadersOutputIsReadUntilTheRunEnds) {
    leaveCleanUpPending();
    const FakeClient& reader = installAt(paths().tail, "script");
    const FakeClient& runner = startPrompt();
    forget();
    time.advance(Seconds(0.9));
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    reader.say("unread\n");
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isHeard(); }));
    EXPECT_TRUE(reader.isAlive());
    runner.exit(0);
    // It ends when it writes, because its output has no reader.
    EXPECT_TRUE(time.waitUntil([&] {
        reader.say("late\n");
        return reader.isGone();
    }));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ForgottenRunTest, theReaderLeavesTheFifoOfALaterRunAlone) {
    leaveCleanUpPending();
    startPrompt();
    forget();
    installWorkingPrograms();
    const FakeClient& client = installTunnelClient("routes");
    const FakeClient& reader = installAt(paths().tail, "script");
    manager->connect();
    time.advance(Seconds(0.9));
    // The reader of the forgotten run has no reading end.
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    EXPECT_TRUE(time.waitHoldingMain([&] {
        reader.say("x");
        return reader.isGone();
    }));
    installWorkingPrograms();
    time.advance(Seconds(0.1));
    EXPECT_TRUE(reaches(TunnelStatus::connected));
    EXPECT_TRUE(client.isAlive());
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
    EXPECT_TRUE(time.waitUntil([&] { return runningThreads() <= threads; }));
    // The thread sanitizer starts a program that names functions at its first report, also one that
    // is suppressed, and keeps two pipes to it.
    constexpr std::size_t mostOfSanitizer = 2;
    static_assert(mostOfSanitizer < rounds - 1);
    EXPECT_TRUE(time.waitUntil(
        [&] { return openDescriptors() <= descriptors + rounds - 1 + mostOfSanitizer; }));
}

} // namespace
} // namespace kestrelnet
