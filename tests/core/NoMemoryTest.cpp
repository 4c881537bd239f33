// SPDX-License-Identifier: MIT
// Output and ends of runs while there is no memory to hand them to the main thread.
#include "tests/core/TunnelTest.h"

#include <atomic>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

/// A main queue that has no memory for the next `failures` jobs of other threads.
class FullQueue : public Queue {
  public:
    explicit FullQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
    void async(Job job) override {
        if (std::this_thread::get_id() != main_ && failures > 0) {
            --failures;
            throw std::bad_alloc();
        }
        queue_->async(std::move(job));
    }
    void asyncAfter(Seconds delay, Job job) override { queue_->asyncAfter(delay, std::move(job)); }

    std::atomic<int> failures = 0;

  private:
    const std::shared_ptr<Queue> queue_;
    const std::thread::id main_ = std::this_thread::get_id();
};

class NoMemoryForTheRunTest : public TunnelTest {
  protected:
    NoMemoryForTheRunTest() {
        world->platform.mainQueue = queue;
        manager = makeManager();
    }

    const std::shared_ptr<FullQueue> queue = std::make_shared<FullQueue>(world->platform.mainQueue);
};

TEST_F(NoMemoryForTheRunTest, aChunkIsHandledOnceWhenThereIsMemoryAgain) {
    const FakeClient& client = start();
    queue->failures = 3;
    feed(client, "Discovered home server: oslo\n");
    EXPECT_EQ(queue->failures, 0);
    feed(client, "after\n");
    EXPECT_THAT(log(), ElementsAre("Discovered home server: oslo", "after"));
    EXPECT_EQ(*manager->serverLocation, "oslo");
}

TEST_F(NoMemoryForTheRunTest, theEndIsHandledWhenThereIsMemoryAgain) {
    const FakeClient& client = start();
    queue->failures = 3;
    client.exit(0);
    ASSERT_TRUE(reaches(TunnelStatus::error));
    EXPECT_EQ(queue->failures, 0);
    EXPECT_EQ(*manager->lastLog, exitMessage);
    EXPECT_EQ(process(), nullptr);
}

} // namespace
} // namespace kestrelnet
