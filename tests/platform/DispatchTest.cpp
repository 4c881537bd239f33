// SPDX-License-Identifier: MIT
#include "platform/Dispatch.h"

#include "platform/BackgroundThread.h"
#include "platform/Process.h"
#include "tests/support/Collector.h"
#include "tests/support/EventLoop.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <latch>
#include <set>
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

TEST(BackgroundQueueTest, finishedJobsLeaveOnlyTheSpareThreads) {
    const std::size_t threads = runningThreads();
    const auto over = std::make_shared<std::atomic<int>>(0);
    for (int job = 0; job < 200; ++job) {
        dispatch::backgroundQueue()->async([over] { ++*over; });
    }
    EXPECT_TRUE(waitFor([&] {
        return *over == 200 && runningThreads() <= threads + BackgroundThread::mostSpares;
    }));
}

TEST(BackgroundQueueTest, aSpareThreadRunsTheNextJob) {
    std::set<std::thread::id> seen;
    // The thread becomes spare shortly after its job has ended.
    EXPECT_TRUE(waitFor([&] {
        std::promise<std::thread::id> thread;
        dispatch::backgroundQueue()->async([&] { thread.set_value(std::this_thread::get_id()); });
        return !seen.insert(thread.get_future().get()).second;
    }));
}

TEST(PreparedJobTest, runsOnlyWhenItIsStarted) {
    const auto runs = std::make_shared<std::atomic<int>>(0);
    std::unique_ptr<PreparedJob> job;
    ASSERT_FALSE(dispatch::backgroundQueue()->prepare([runs] { ++*runs; }, job));
    EXPECT_EQ(*runs, 0);
    job->start();
    EXPECT_TRUE(waitFor([&] { return *runs == 1; }));
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

TEST(PreparedJobTest, eachHasAThreadBeforeItIsStarted) {
    constexpr std::size_t jobs = BackgroundThread::mostSpares + 3;
    const std::size_t threads = runningThreads();
    std::array<std::unique_ptr<PreparedJob>, jobs> prepared;
    for (auto& job : prepared) {
        ASSERT_FALSE(dispatch::backgroundQueue()->prepare([] {}, job));
    }
    EXPECT_GE(runningThreads(), threads + jobs - BackgroundThread::mostSpares);
}

TEST(PreparedJobTest, jobsThatAreNotStartedAreDroppedAndLeaveOnlyTheSpareThreads) {
    const auto runs = std::make_shared<std::atomic<int>>(0);
    const std::size_t threads = runningThreads();
    {
        std::array<std::unique_ptr<PreparedJob>, 10> prepared;
        for (auto& job : prepared) {
            ASSERT_FALSE(dispatch::backgroundQueue()->prepare([runs] { ++*runs; }, job));
        }
    }
    EXPECT_TRUE(waitFor([&] {
        return runs.use_count() == 1 && runningThreads() <= threads + BackgroundThread::mostSpares;
    }));
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
