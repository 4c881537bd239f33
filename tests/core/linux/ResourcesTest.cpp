// SPDX-License-Identifier: MIT
// Runs and stops while the system has no more threads, descriptors or memory.
#include "tests/core/TunnelTest.h"
#include "tests/support/NoDescriptors.h"
#include "tests/support/NoThreads.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <signal.h>
#include <utility>

namespace kestrelnet {
namespace {

constexpr const char* noThread = "Resource temporarily unavailable";

// -- The stop ----------------------------------------------------------------------------------

class StopResourcesTest : public TunnelTest {};

TEST_F(StopResourcesTest, aStopNeedsNoThreadAndNoDescriptor) {
    start("stubborn");
    const auto stopped = process();
    {
        const NoThreads noThreads;
        const NoDescriptors noDescriptors;
        manager->disconnect();
        time.advance(Seconds(3));
        stopped->waitUntilExit();
        time.runPending();
    }
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(stopped->terminationStatus(), SIGKILL);
}

TEST_F(StopResourcesTest, withoutThreadsASecondStopLeavesTheWorkToTheFirst) {
    const FakeClient& client = start("stubborn");
    {
        const NoThreads noThreads;
        manager->disconnect();
        manager->disconnect();
        time.advance(Seconds(3));
    }
    EXPECT_TRUE(reaches(TunnelStatus::disconnected));
    EXPECT_TRUE(time.waitUntil([&] { return client.isGone(); }));
}

TEST_F(StopResourcesTest, aRunThatCouldNotBeStartedForLackOfThreadsIsReleased) {
    install("script");
    const NoThreads noThreads;
    manager->connect();
    ASSERT_NE(process(), nullptr);
    manager->disconnect();
    time.runPending();
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
    EXPECT_EQ(process(), nullptr);
    EXPECT_EQ(pipe(), nullptr);
}

/// Whether the present thread runs a prepared job.
thread_local bool isPreparedThread = false;

/// Marks the threads of prepared jobs.
class MarkingQueue : public BackgroundQueue {
  public:
    explicit MarkingQueue(std::shared_ptr<BackgroundQueue> queue) : queue_(std::move(queue)) {}
    void async(Job job) override { queue_->async(std::move(job)); }
    void asyncAfter(Seconds delay, Job job) override { queue_->asyncAfter(delay, std::move(job)); }
    std::optional<Error> prepare(Job job, std::unique_ptr<PreparedJob>& prepared) override {
        return queue_->prepare(
            [job = std::move(job)] {
                isPreparedThread = true;
                job();
            },
            prepared);
    }

  private:
    std::shared_ptr<BackgroundQueue> queue_;
};

/// A main queue that at first has no memory for what the thread of a stop posts.
class FullQueue : public Queue {
  public:
    explicit FullQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
    void async(Job job) override {
        if (isPreparedThread && failures > 0) {
            --failures;
            throw std::bad_alloc();
        }
        queue_->async(std::move(job));
    }
    void asyncAfter(Seconds delay, Job job) override { queue_->asyncAfter(delay, std::move(job)); }

    int failures = 3;

  private:
    std::shared_ptr<Queue> queue_;
};

TEST_F(StopResourcesTest, theCleanUpIsPostedWhenThereIsMemoryAgain) {
    const auto queue = std::make_shared<FullQueue>(world->platform.mainQueue);
    world->platform.mainQueue = queue;
    world->platform.backgroundQueue =
        std::make_shared<MarkingQueue>(world->platform.backgroundQueue);
    manager = makeManager();
    std::filesystem::remove(paths().helper);
    const FakeClient& client = start("stubborn");
    manager->disconnect();
    time.advance(Seconds(3));
    EXPECT_NE(manager->status, TunnelStatus::disconnected);
    time.advance(Seconds(0.3));
    EXPECT_EQ(queue->failures, 0);
    EXPECT_TRUE(reaches(TunnelStatus::disconnected));
    EXPECT_TRUE(time.waitUntil([&] { return client.isGone(); }));
}

// -- The start ---------------------------------------------------------------------------------

class StartResourcesTest : public TunnelTest {
  protected:
    void expectFailedStart(const FakeClient& program, const std::string& message) {
        EXPECT_EQ(manager->status, TunnelStatus::error);
        EXPECT_EQ(*manager->lastLog, message);
        ASSERT_NE(process(), nullptr);
        EXPECT_EQ(process()->processIdentifier(), 0);
        EXPECT_EQ(program.pid(), std::nullopt);
    }
};

TEST_F(StartResourcesTest, withoutThreadsTheHelperIsNotStarted) {
    const FakeClient& client = install("script");
    {
        const NoThreads noThreads;
        manager->connect();
    }
    expectFailedStart(client, std::string("Failed to start helper: ") + noThread);
    start();
    EXPECT_EQ(manager->status, TunnelStatus::connecting);
}

TEST_F(StartResourcesTest, withoutThreadsThePromptIsNotStarted) {
    manager->helperInstalled = false;
    const FakeClient& runner = installAt(paths().osascript, "script");
    {
        const NoThreads noThreads;
        manager->connect();
    }
    expectFailedStart(runner, std::string("Failed to start: ") + noThread);
}

TEST_F(StartResourcesTest, theReaderOfThePromptsOutputNeedsNoThreadAfterTheStart) {
    manager->helperInstalled = false;
    const FakeClient& reader = installAt(paths().tail, "script");
    const FakeClient& runner = installAt(paths().osascript, "script");
    manager->connect();
    ASSERT_TRUE(time.waitHoldingMain([&] { return runner.isReady(); }));
    const NoThreads noThreads;
    time.advance(Seconds(1));
    ASSERT_TRUE(time.waitHoldingMain([&] { return reader.isReady(); }));
    feed(reader, "Discovered home server: lisbon\n");
    EXPECT_EQ(*manager->serverLocation, "lisbon");
}

} // namespace
} // namespace kestrelnet
