// SPDX-License-Identifier: MIT
#include "platform/Dispatch.h"

#include "platform/Process.h"
#include "tests/support/Collector.h"
#include "tests/support/EventLoop.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <latch>
#include <signal.h>
#include <string>
#include <thread>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAre;

TEST(MainQueueTest, runsJobsOnTheMainThreadInOrderAndNotAtOnce) {
    std::vector<int> order;
    for (int number = 0; number < 100; ++number) {
        dispatch::mainQueue()->async([&order, number, main = std::this_thread::get_id()] {
            EXPECT_EQ(std::this_thread::get_id(), main);
            order.push_back(number);
        });
    }
    EXPECT_TRUE(order.empty());
    ASSERT_TRUE(waitUntil([&] { return order.size() == 100; }));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(MainQueueTest, keepsTheOrderOfEachPostingThread) {
    std::vector<int> order;
    std::thread poster([&order, queue = dispatch::mainQueue()] {
        for (int number = 0; number < 1000; ++number) {
            queue->async([&order, number] { order.push_back(number); });
        }
    });
    ASSERT_TRUE(waitUntil([&] { return order.size() == 1000; }));
    poster.join();
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(MainQueueTest, aJobPostedByAJobRunsAfterTheWaitingJobs) {
    std::vector<std::string> order;
    const auto queue = dispatch::mainQueue();
    queue->async([&] {
        order.emplace_back("first");
        queue->async([&order] { order.emplace_back("posted by first"); });
    });
    queue->async([&order] { order.emplace_back("second"); });
    ASSERT_TRUE(waitUntil([&] { return order.size() == 3; }));
    EXPECT_THAT(order, ElementsAre("first", "second", "posted by first"));
}

TEST(MainQueueTest, delayedJobsRunInOrderOfTheirTimesAndNeverEarly) {
    const auto clock = dispatch::systemClock();
    const auto queue = dispatch::mainQueue();
    const Clock::Time start = clock->now();
    std::vector<std::string> order;
    queue->asyncAfter(Seconds(0.03), [&] {
        EXPECT_GE(clock->now() - start, std::chrono::milliseconds(30));
        order.emplace_back("late");
    });
    queue->asyncAfter(Seconds(0.01), [&] {
        EXPECT_GE(clock->now() - start, std::chrono::milliseconds(10));
        order.emplace_back("early");
    });
    ASSERT_TRUE(waitUntil([&] { return order.size() == 2; }));
    EXPECT_THAT(order, ElementsAre("early", "late"));
}

TEST(MainQueueTest, delayedJobsOfEqualDelayKeepTheirOrder) {
    std::vector<int> order;
    for (int number = 0; number < 200; ++number) {
        dispatch::mainQueue()->asyncAfter(Seconds(0.01),
                                          [&order, number] { order.push_back(number); });
    }
    ASSERT_TRUE(waitUntil([&] { return order.size() == 200; }));
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(MainQueueTest, aDelayedJobMayComeFromAnotherThread) {
    bool ran = false;
    std::thread([&ran, queue = dispatch::mainQueue()] {
        queue->asyncAfter(Seconds(0.001), [&ran] { ran = true; });
    }).join();
    EXPECT_TRUE(waitUntil([&] { return ran; }));
}

TEST(BackgroundQueueTest, aWaitingJobDelaysNoOtherJob) {
    // The jobs end only when all of them run at the same time.
    constexpr std::ptrdiff_t jobs = 64;
    const auto meeting = std::make_shared<std::latch>(jobs);
    const auto over = std::make_shared<std::atomic<int>>(0);
    for (std::ptrdiff_t job = 0; job < jobs; ++job) {
        dispatch::backgroundQueue()->async([meeting, over] {
            meeting->arrive_and_wait();
            ++*over;
        });
    }
    EXPECT_TRUE(waitFor([&] { return *over == jobs; }));
}

TEST(BackgroundQueueTest, runsOffTheMainThread) {
    const auto thread = std::make_shared<std::atomic<std::thread::id>>();
    dispatch::backgroundQueue()->async([thread] { *thread = std::this_thread::get_id(); });
    ASSERT_TRUE(waitFor([&] { return thread->load() != std::thread::id(); }));
    EXPECT_NE(thread->load(), std::this_thread::get_id());
}

TEST(BackgroundQueueTest, aDelayedJobIsNeverEarly) {
    const auto clock = dispatch::systemClock();
    const Clock::Time start = clock->now();
    const auto elapsed = std::make_shared<std::atomic<Clock::Time::rep>>(0);
    dispatch::backgroundQueue()->asyncAfter(Seconds(0.02),
                                            [=] { *elapsed = (clock->now() - start).count(); });
    ASSERT_TRUE(waitFor([&] { return *elapsed != 0; }));
    EXPECT_GE(Clock::Time::duration(elapsed->load()), std::chrono::milliseconds(20));
}

TEST(BackgroundQueueTest, finishedJobsLeaveNoThreads) {
    const std::size_t threads = runningThreads();
    const auto over = std::make_shared<std::atomic<int>>(0);
    for (int job = 0; job < 200; ++job) {
        dispatch::backgroundQueue()->async([over] { ++*over; });
    }
    EXPECT_TRUE(waitFor([&] { return *over == 200 && runningThreads() <= threads; }));
}

TEST(PreparedJobTest, runsOnlyWhenItIsStarted) {
    const auto runs = std::make_shared<std::atomic<int>>(0);
    std::unique_ptr<PreparedJob> job;
    const std::size_t threads = runningThreads();
    ASSERT_FALSE(dispatch::backgroundQueue()->prepare([runs] { ++*runs; }, job));
    EXPECT_EQ(runningThreads(), threads + 1);
    EXPECT_EQ(*runs, 0);
    job->start();
    EXPECT_TRUE(waitFor([&] { return *runs == 1 && runningThreads() <= threads; }));
}

TEST(PreparedJobTest, aStartedJobContinuesWithoutItsObject) {
    const auto clock = dispatch::systemClock();
    const Clock::Time start = clock->now();
    const auto elapsed = std::make_shared<std::atomic<Clock::Time::rep>>(0);
    std::unique_ptr<PreparedJob> job;
    ASSERT_FALSE(dispatch::backgroundQueue()->prepare(
        [=] { *elapsed = (clock->now() - start).count(); }, job));
    job->startAfter(Seconds(0.02));
    job.reset();
    ASSERT_TRUE(waitFor([&] { return *elapsed != 0; }));
    EXPECT_GE(Clock::Time::duration(elapsed->load()), std::chrono::milliseconds(20));
}

TEST(PreparedJobTest, aJobThatIsNotStartedIsDroppedAndItsThreadEnds) {
    const auto runs = std::make_shared<std::atomic<int>>(0);
    const std::size_t threads = runningThreads();
    std::unique_ptr<PreparedJob> job;
    ASSERT_FALSE(dispatch::backgroundQueue()->prepare([runs] { ++*runs; }, job));
    job.reset();
    EXPECT_TRUE(waitFor([&] { return runs.use_count() == 1 && runningThreads() <= threads; }));
    EXPECT_EQ(*runs, 0);
}

/// The output of leaving-program in the case `name`; it has ten seconds to end.
std::string saidWhenLeaving(const std::string& name) {
    const auto process = Process::create();
    process->executablePath = KESTRELNET_LEAVING_PROGRAM;
    process->arguments = {name};
    process->standardOutput = std::make_shared<Pipe>();
    const auto output = Collector::attachTo(process->standardOutput->fileHandleForReading());
    EXPECT_FALSE(process->run());
    const bool left = waitFor([&] { return !process->isRunning(); });
    EXPECT_TRUE(left) << name;
    process->kill(SIGKILL);
    EXPECT_TRUE(waitFor([&] { return output->ends() == 1; }));
    EXPECT_EQ(process->terminationStatus(), 0);
    return output->text();
}

TEST(LeavingTest, jobsOfTheMainQueueAreDropped) {
    EXPECT_EQ(saidWhenLeaving("main-jobs"), "leaving\n");
}

TEST(LeavingTest, aPipeIsReadFurtherWhenTheJobThatPausesItIsDropped) {
    EXPECT_EQ(saidWhenLeaving("paused-reader"), "read again\n");
}

TEST(LeavingTest, aSleepingBackgroundJobIsNotWaitedFor) {
    EXPECT_EQ(saidWhenLeaving("sleeping-job"), "left\n");
}

} // namespace
} // namespace kestrelnet
