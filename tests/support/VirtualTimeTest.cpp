// SPDX-License-Identifier: MIT
#include "tests/support/VirtualTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

TEST(VirtualTimeTest, runsMainJobsOnlyOnRequest) {
    VirtualTime time;
    int runs = 0;
    time.mainQueue()->async([&runs] { ++runs; });
    EXPECT_EQ(runs, 0);
    EXPECT_EQ(time.pendingCount(), 1U);
    time.runPending();
    EXPECT_EQ(runs, 1);
    EXPECT_EQ(time.pendingCount(), 0U);
}

TEST(VirtualTimeTest, runsDelayedMainJobsInTheOrderOfTimeAndThenOfPosting) {
    VirtualTime time;
    std::vector<std::string> order;
    const auto job = [&order](const std::string& name) {
        return [&order, name] { order.push_back(name); };
    };
    time.mainQueue()->asyncAfter(Seconds(0.2), job("late"));
    time.mainQueue()->asyncAfter(Seconds(0.1), job("first of two"));
    time.mainQueue()->asyncAfter(Seconds(0.1), job("second of two"));
    time.mainQueue()->async(job("at once"));
    time.advance(Seconds(0.1));
    EXPECT_THAT(order, ElementsAre("at once", "first of two", "second of two"));
    time.advance(Seconds(0.1));
    EXPECT_EQ(order.back(), "late");
}

TEST(VirtualTimeTest, aSleepEndsAtItsTimeAndNotBefore) {
    VirtualTime time;
    std::atomic<int> naps = 0;
    time.backgroundQueue()->async([&naps, clock = time.clock()] {
        for (int nap = 0; nap < 3; ++nap) {
            clock->sleep(Seconds(0.1));
            ++naps;
        }
    });
    time.advance(Seconds(0.05));
    EXPECT_EQ(naps, 0);
    time.advance(Seconds(0.05));
    EXPECT_EQ(naps, 1);
    time.advance(Seconds(10));
    EXPECT_EQ(naps, 3);
    EXPECT_EQ(time.clock()->now(), Clock::Time(std::chrono::milliseconds(10100)));
}

TEST(VirtualTimeTest, backgroundJobsWaitForTheirDelay) {
    VirtualTime time;
    std::atomic<bool> ran = false;
    time.backgroundQueue()->asyncAfter(Seconds(1), [&ran] { ran = true; });
    time.advance(Seconds(0.9));
    EXPECT_FALSE(ran);
    time.advance(Seconds(0.1));
    EXPECT_TRUE(ran);
}

TEST(VirtualTimeTest, waitUntilRunsMainJobsOneAtATimeWhileNoTimePasses) {
    VirtualTime time;
    int runs = 0;
    time.mainQueue()->asyncAfter(Seconds(1), [&runs] { runs += 100; });
    std::thread poster([queue = time.mainQueue(), &runs] {
        queue->async([&runs] { ++runs; });
        queue->async([&runs] { ++runs; });
    });
    EXPECT_TRUE(time.waitUntil([&runs] { return runs == 1; }));
    poster.join();
    EXPECT_EQ(time.pendingCount(), 1U);
    EXPECT_EQ(time.clock()->now(), Clock::Time{});
}

TEST(VirtualTimeTest, waitHoldingMainRunsNoJob) {
    VirtualTime time;
    bool ran = false;
    std::thread poster([queue = time.mainQueue(), &ran] { queue->async([&ran] { ran = true; }); });
    EXPECT_TRUE(time.waitHoldingMain([&time] { return time.pendingCount() == 1; }));
    poster.join();
    EXPECT_FALSE(ran);
}

TEST(VirtualTimeTest, aPreparedJobRunsAfterItsStartAndItsDelay) {
    VirtualTime time;
    std::atomic<int> runs = 0;
    std::unique_ptr<PreparedJob> immediate;
    std::unique_ptr<PreparedJob> delayed;
    std::unique_ptr<PreparedJob> dropped;
    const auto queue = time.backgroundQueue();
    ASSERT_FALSE(queue->prepare([&runs] { runs += 1; }, immediate));
    ASSERT_FALSE(queue->prepare([&runs] { runs += 10; }, delayed));
    ASSERT_FALSE(queue->prepare([&runs] { runs += 100; }, dropped));
    time.advance(Seconds(10));
    EXPECT_EQ(runs, 0);
    immediate->start();
    delayed->startAfter(Seconds(1));
    dropped.reset();
    time.advance(Seconds(0.9));
    EXPECT_EQ(runs, 1);
    time.advance(Seconds(0.1));
    EXPECT_EQ(runs, 11);
}

TEST(VirtualTimeTest, destructionEndsSleepsAndRunsNoPendingJob) {
    bool ran = false;
    std::atomic<bool> slept = false;
    std::unique_ptr<PreparedJob> prepared;
    std::unique_ptr<PreparedJob> delayed;
    {
        VirtualTime time;
        time.mainQueue()->async([&ran] { ran = true; });
        ASSERT_FALSE(time.backgroundQueue()->prepare([&ran] { ran = true; }, prepared));
        ASSERT_FALSE(time.backgroundQueue()->prepare([&ran] { ran = true; }, delayed));
        delayed->startAfter(Seconds(1));
        time.backgroundQueue()->async([&slept, clock = time.clock()] {
            const Clock::Time deadline = clock->now() + std::chrono::seconds(3);
            while (clock->now() < deadline) {
                clock->sleep(Seconds(0.1));
            }
            slept = true;
        });
        ASSERT_TRUE(time.waitHoldingMain(
            [&time] { return time.pendingCount() == 1 && time.sleeperCount() == 2; }));
    }
    prepared->start();
    EXPECT_FALSE(ran);
    EXPECT_TRUE(slept);
}

TEST(VirtualTimeTest, dropsJobsThatArePostedAfterDestruction) {
    std::shared_ptr<Queue> queue = VirtualTime().mainQueue();
    const auto held = std::make_shared<int>(0);
    queue->async([held] {});
    EXPECT_EQ(held.use_count(), 1);
}

} // namespace
} // namespace kestrelnet
