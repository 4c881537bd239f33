// SPDX-License-Identifier: MIT
// Output that is read while the main thread is busy.
#include "tests/core/TunnelTest.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace kestrelnet {
namespace {

/// The queue of a main thread that is busy until the test runs the jobs.
class BusyQueue : public Queue {
  public:
    explicit BusyQueue(std::shared_ptr<Queue> queue) : queue_(std::move(queue)) {}
    void async(Job job) override {
        const std::lock_guard lock(mutex_);
        jobs_.push_back(std::move(job));
    }
    void asyncAfter(Seconds delay, Job job) override { queue_->asyncAfter(delay, std::move(job)); }

    std::size_t count() const {
        const std::lock_guard lock(mutex_);
        return jobs_.size();
    }
    void run() {
        std::vector<Job> jobs;
        {
            const std::lock_guard lock(mutex_);
            jobs.swap(jobs_);
        }
        for (const Job& job : jobs) {
            job();
        }
    }

  private:
    const std::shared_ptr<Queue> queue_;
    mutable std::mutex mutex_;
    std::vector<Job> jobs_;
};

class LateOutputTest : public TunnelTest {
  protected:
    LateOutputTest() {
        world->platform.mainQueue = queue;
        manager = makeManager();
    }

    const std::shared_ptr<BusyQueue> queue = std::make_shared<BusyQueue>(world->platform.mainQueue);
};

// The clean-up may come before the end of the client, which brings its last output.
TEST_F(LateOutputTest, theLastOutputOfAKilledClientDoesNotUndoTheStop) {
    const FakeClient& client = start("stubborn");
    client.say("one\n");
    ASSERT_TRUE(time.waitHoldingMain([&] { return queue->count() == 1; }));
    client.say("Split-tunnel routes: 1\n");
    ASSERT_TRUE(time.waitHoldingMain([&] { return client.unreadOutput() > 0; }));
    manager->disconnect();
    time.advance(Seconds(3));
    // The two chunks, the clean-up and the end.
    ASSERT_TRUE(time.waitHoldingMain([&] { return queue->count() == 4; }));
    queue->run();
    EXPECT_EQ(manager->status, TunnelStatus::disconnected);
}

} // namespace
} // namespace kestrelnet
