// SPDX-License-Identifier: MIT
#include "platform/Process.h"

#include "platform/BackgroundThread.h"
#include "tests/support/Collector.h"
#include "tests/support/FakeClient.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <signal.h>
#include <thread>
#include <unistd.h>

namespace kestrelnet {
namespace {

std::shared_ptr<Process> processFor(const FakeClient& client) {
    auto process = Process::create();
    process->executablePath = client.executable();
    return process;
}

/// Counts the calls of the termination handler, which holds a second reference to the counter.
using Calls = std::shared_ptr<std::atomic<int>>;

Calls countTerminations(Process& process) {
    auto calls = std::make_shared<std::atomic<int>>(0);
    process.terminationHandler = [calls](const std::shared_ptr<Process>&) { ++*calls; };
    return calls;
}

std::atomic<int> signalsCaught = 0;

/// Runs the test in a process group of its own and counts SIGUSR1.
class OwnProcessGroup {
  public:
    OwnProcessGroup() {
        ::setpgid(0, 0);
        signalsCaught = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { ++signalsCaught; };
        ::sigaction(SIGUSR1, &action, &before_);
    }
    ~OwnProcessGroup() {
        ::setpgid(0, group_);
        ::sigaction(SIGUSR1, &before_, nullptr);
    }
    OwnProcessGroup(const OwnProcessGroup&) = delete;
    OwnProcessGroup& operator=(const OwnProcessGroup&) = delete;

  private:
    pid_t group_ = ::getpgrp();
    struct sigaction before_ = {};
};

TEST(ProcessTest, aProcessThatWasNeverStartedDoesNothing) {
    const OwnProcessGroup guard;
    const auto process = Process::create();
    process->kill(SIGUSR1);
    process->terminate();
    process->waitUntilExit();
    EXPECT_EQ(signalsCaught, 0);
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(process->processIdentifier(), 0);
    EXPECT_EQ(process->terminationStatus(), 0);
}

TEST(ProcessTest, runsUntilTheProgramEndsAndKeepsItsExitStatus) {
    const FakeClient client("script");
    const auto process = processFor(client);
    ASSERT_FALSE(process->run());
    EXPECT_TRUE(process->isRunning());
    ASSERT_TRUE(waitFor([&] { return client.isReady(); }));
    EXPECT_EQ(process->processIdentifier(), client.pid());
    EXPECT_TRUE(process->isRunning());
    client.exit(7);
    process->waitUntilExit();
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(process->terminationStatus(), 7);
    EXPECT_EQ(process->processIdentifier(), client.pid());
    EXPECT_TRUE(client.isGone());
}

TEST(ProcessTest, terminateEndsAProgramThatDoesNotIgnoreIt) {
    const FakeClient client("script");
    const auto process = processFor(client);
    ASSERT_FALSE(process->run());
    ASSERT_TRUE(waitFor([&] { return client.isReady(); }));
    process->terminate();
    process->waitUntilExit();
    EXPECT_EQ(process->terminationStatus(), SIGTERM);
}

TEST(ProcessTest, killEndsAProgramThatSurvivesTerminate) {
    const FakeClient client("stubborn");
    const auto process = processFor(client);
    ASSERT_FALSE(process->run());
    ASSERT_TRUE(waitFor([&] { return client.isReady(); }));
    process->terminate();
    ASSERT_TRUE(waitFor([&] { return client.terminations() == 1; }));
    EXPECT_TRUE(process->isRunning());
    process->kill(SIGKILL);
    process->waitUntilExit();
    EXPECT_EQ(process->terminationStatus(), SIGKILL);
}

TEST(ProcessTest, theHandlerIsCalledExactlyOnceOnAnotherThreadAfterTheEnd) {
    const FakeClient client("exits-at-once");
    auto process = processFor(client);
    const auto calls = std::make_shared<std::atomic<int>>(0);
    process->terminationHandler = [calls, test = std::this_thread::get_id(),
                                   &client](const std::shared_ptr<Process>& ended) {
        ++*calls;
        EXPECT_NE(std::this_thread::get_id(), test);
        EXPECT_FALSE(ended->isRunning());
        EXPECT_EQ(ended->terminationStatus(), 3);
        EXPECT_TRUE(client.isGone());
    };
    ASSERT_FALSE(process->run());
    // When the handler has been destroyed, it cannot be called again.
    process.reset();
    ASSERT_TRUE(waitFor([&] { return calls.use_count() == 1; }));
    EXPECT_EQ(*calls, 1);
}

TEST(ProcessTest, destroyingTheObjectEndsNoChildAndTheEndIsStillReported) {
    const FakeClient client("script");
    auto process = processFor(client);
    const Calls calls = countTerminations(*process);
    ASSERT_FALSE(process->run());
    ASSERT_TRUE(waitFor([&] { return client.isReady(); }));
    process.reset();
    EXPECT_TRUE(client.isAlive());
    client.exit(0);
    EXPECT_TRUE(waitFor([&] { return client.isGone() && calls.use_count() == 1; }));
    EXPECT_EQ(*calls, 1);
}

TEST(ProcessTest, exitingTheProgramEndsNoChild) {
    const FakeClient client("script");
    const auto leaver = Process::create();
    leaver->executablePath = KESTRELNET_LEAVING_PROGRAM;
    leaver->arguments = {"running-child", client.executable()};
    ASSERT_FALSE(leaver->run());
    leaver->waitUntilExit();
    EXPECT_EQ(leaver->terminationStatus(), 0);
    ASSERT_TRUE(waitFor([&] { return client.isReady(); }));
    EXPECT_TRUE(client.isAlive());
}

// -- Failures to start -------------------------------------------------------------------------

void expectNoStart(const std::shared_ptr<Process>& process) {
    const OwnProcessGroup guard;
    const Calls calls = countTerminations(*process);
    const auto error = process->run();
    ASSERT_TRUE(error);
    EXPECT_FALSE(error->description.empty());
    EXPECT_FALSE(process->isRunning());
    EXPECT_EQ(process->processIdentifier(), 0);
    process->waitUntilExit();
    process->kill(SIGUSR1);
    EXPECT_EQ(signalsCaught, 0);
    process->terminationHandler = nullptr;
    EXPECT_EQ(calls.use_count(), 1);
    EXPECT_EQ(*calls, 0);
}

TEST(ProcessTest, aMissingProgramIsAnError) {
    const TemporaryFolder folder;
    const auto process = Process::create();
    process->executablePath = folder.file("nothing");
    expectNoStart(process);
}

TEST(ProcessTest, aFileThatIsNotExecutableIsAnError) {
    const TemporaryFolder folder;
    const auto process = Process::create();
    process->executablePath = folder.write("text", "no program\n");
    expectNoStart(process);
}

TEST(ProcessTest, aFolderIsAnError) {
    const TemporaryFolder folder;
    const auto process = Process::create();
    process->executablePath = folder.path();
    expectNoStart(process);
}

TEST(ProcessTest, aProgramOfUnknownFormatIsAnError) {
    const TemporaryFolder folder;
    const auto process = Process::create();
    process->executablePath = folder.write("odd", "no interpreter line\n");
    std::filesystem::permissions(process->executablePath, std::filesystem::perms::owner_all);
    expectNoStart(process);
}

TEST(ProcessTest, afterAFailedStartThePipeEndsWithTheProcessObject) {
    auto process = Process::create();
    process->executablePath = "/nonexistent";
    process->standardOutput = std::make_shared<Pipe>();
    const auto collector = Collector::attachTo(process->standardOutput->fileHandleForReading());
    ASSERT_TRUE(process->run());
    process.reset();
    EXPECT_TRUE(waitFor([&] { return collector.use_count() == 1; }));
    EXPECT_EQ(collector->ends(), 1U);
}

// -- Output ------------------------------------------------------------------------------------

TEST(ProcessTest, eachStreamIsWrittenToItsPipe) {
    const FakeClient client("script");
    const auto process = processFor(client);
    process->standardOutput = std::make_shared<Pipe>();
    process->standardError = std::make_shared<Pipe>();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    const auto errors = Collector::attachTo(process->standardError->fileHandleForReading());
    ASSERT_FALSE(process->run());
    client.say("said");
    client.sayOnError("complained");
    client.exit(0);
    EXPECT_TRUE(waitFor([&] { return output->ends() == 1 && errors->ends() == 1; }));
    EXPECT_EQ(output->text(), "said");
    EXPECT_EQ(errors->text(), "complained");
}

TEST(ProcessTest, onePipeTakesBothStreams) {
    const FakeClient client("script");
    const auto process = processFor(client);
    process->standardOutput = std::make_shared<Pipe>();
    process->standardError = process->standardOutput;
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    ASSERT_FALSE(process->run());
    client.say("one ");
    client.sayOnError("two");
    client.exit(0);
    EXPECT_TRUE(waitFor([&] { return output->ends() == 1; }));
    EXPECT_EQ(output->text(), "one two");
}

TEST(ProcessTest, outputCanBeReadAfterTheEnd) {
    const FakeClient client("says-and-exits");
    const auto process = processFor(client);
    process->standardOutput = std::make_shared<Pipe>();
    ASSERT_FALSE(process->run());
    process->waitUntilExit();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    EXPECT_TRUE(waitFor([&] { return output->ends() == 1; }));
    EXPECT_EQ(output->text(), "Discovered home server: oslo (198.51.100.9)\n");
}

TEST(ProcessTest, whatCanBeReadAtTheEndIsReadBeforeItIsReported) {
    const FakeClient client("says-and-exits");
    const auto process = processFor(client);
    process->standardOutput = std::make_shared<Pipe>();
    FileHandle& handle = process->standardOutput->fileHandleForReading();
    const auto output = Collector::attachTo(handle);
    // The reader thread reads nothing.
    const auto pause = handle.pause();
    std::promise<std::string> reported;
    process->terminationHandler = [&](const std::shared_ptr<Process>&) {
        reported.set_value(output->text());
    };
    ASSERT_FALSE(process->run());
    EXPECT_EQ(reported.get_future().get(), "Discovered home server: oslo (198.51.100.9)\n");
}

TEST(ProcessTest, aRelayedOutputIsReadToTheEndAndReleased) {
    const FakeClient client("exits-at-once");
    const auto process = processFor(client);
    process->relayedOutput = std::make_shared<Pipe>();
    const std::weak_ptr<Pipe> pipe = process->relayedOutput;
    const auto output = Collector::attachTo(process->relayedOutput->fileHandleForReading());
    const auto pause = process->relayedOutput->fileHandleForReading().pause();
    // Another child writes to the pipe.
    const FakeClient writer("script");
    const auto relay = processFor(writer);
    relay->standardOutput = process->relayedOutput;
    ASSERT_FALSE(relay->run());
    relay->standardOutput.reset();
    writer.say("relayed");
    ASSERT_TRUE(waitFor([&] { return writer.isReady() && writer.unreadOutput() == 7; }));
    ASSERT_FALSE(process->run());
    process->waitUntilExit();
    EXPECT_EQ(output->text(), "relayed");
    EXPECT_TRUE(waitFor([&] { return pipe.expired(); }));
}

TEST(ProcessTest, closedStreamsAreNotTheEndOfTheProcess) {
    const FakeClient client("closes-streams");
    const auto process = processFor(client);
    process->standardOutput = std::make_shared<Pipe>();
    process->standardError = std::make_shared<Pipe>();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    const auto errors = Collector::attachTo(process->standardError->fileHandleForReading());
    ASSERT_FALSE(process->run());
    ASSERT_TRUE(
        waitFor([&] { return client.isReady() && output->ends() == 1 && errors->ends() == 1; }));
    EXPECT_TRUE(process->isRunning());
}

TEST(ProcessTest, theEndIsReportedWhileAGrandchildHoldsThePipeOpen) {
    auto client = std::make_unique<FakeClient>("leaves-grandchild");
    const auto process = processFor(*client);
    process->standardOutput = std::make_shared<Pipe>();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    const Calls calls = countTerminations(*process);
    ASSERT_FALSE(process->run());
    ASSERT_TRUE(waitFor([&] { return *calls == 1 && client->grandchild(); }));
    const int grandchild = *client->grandchild();
    EXPECT_TRUE(isAlive(grandchild));
    EXPECT_EQ(output->ends(), 0U);
    client->say("still here");
    EXPECT_TRUE(waitFor([&] { return output->text() == "still here"; }));
    client.reset();
    EXPECT_TRUE(waitFor([&] { return output->ends() == 1 && !isAlive(grandchild); }));
}

TEST(ProcessTest, aDaemonOutlivesItsParent) {
    const FakeClient client("daemonises");
    const auto process = processFor(client);
    ASSERT_FALSE(process->run());
    process->waitUntilExit();
    ASSERT_TRUE(waitFor([&] { return client.grandchild().has_value(); }));
    EXPECT_TRUE(isAlive(*client.grandchild()));
}

// -- Many runs ---------------------------------------------------------------------------------

TEST(ProcessTest, manyRunsLeaveNoZombieNoDescriptorAndOnlySpareThreads) {
    const std::size_t threads = runningThreads();
    const std::size_t descriptors = openDescriptors();
    for (int round = 0; round < 50; ++round) {
        const FakeClient client(round % 2 == 0 ? "says-and-exits" : "exits-at-once");
        auto process = processFor(client);
        process->standardOutput = std::make_shared<Pipe>();
        process->standardError = std::make_shared<Pipe>();
        const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
        const auto errors = Collector::attachTo(process->standardError->fileHandleForReading());
        const Calls calls = countTerminations(*process);
        ASSERT_FALSE(process->run());
        ASSERT_TRUE(waitFor([&] { return *calls == 1; }));
        EXPECT_TRUE(client.isGone());
    }
    EXPECT_TRUE(
        waitFor([&] { return runningThreads() <= threads + BackgroundThread::mostSpares; }));
    EXPECT_TRUE(waitFor([&] { return openDescriptors() <= descriptors; }));
}

TEST(ProcessTest, signalsFromAnotherThreadMayCoincideWithTheEnd) {
    for (int round = 0; round < 20; ++round) {
        const FakeClient client("exits-at-once");
        const auto process = processFor(client);
        ASSERT_FALSE(process->run());
        std::thread hunter([process] {
            while (process->isRunning()) {
                process->kill(0);
            }
            process->terminate();
        });
        process->waitUntilExit();
        hunter.join();
        EXPECT_EQ(process->terminationStatus(), 3);
    }
}

} // namespace
} // namespace kestrelnet
