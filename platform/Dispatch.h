// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Error.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace kestrelnet {

using Seconds = std::chrono::duration<double>;

/// Runs jobs, either one after the other or concurrently; see the functions below.
class Queue {
  public:
    using Job = std::function<void()>;

    Queue() = default;
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;
    virtual ~Queue() = default;

    /// Adds `job` and returns at once. Any thread. A dropped job is destroyed without being called.
    virtual void async(Job job) = 0;
    /// The same, but runs `job` after `delay`. Jobs with equal delays run in the order in which
    /// they were added. Any thread.
    virtual void asyncAfter(Seconds delay, Job job) = 0;
};

/// A job whose thread exists in advance, so that the start of the job cannot fail.
class PreparedJob {
  public:
    PreparedJob() = default;
    PreparedJob(const PreparedJob&) = delete;
    PreparedJob& operator=(const PreparedJob&) = delete;
    /// A job that was not started is destroyed without being called. A started job continues.
    virtual ~PreparedJob() = default;

    /// Runs the job after `delay` and returns at once. Needs no memory and no descriptor. Any
    /// thread. Call this or start() at most once.
    virtual void startAfter(Seconds delay) = 0;
    void start() { startAfter(Seconds::zero()); }
};

/// Runs jobs concurrently, each on a thread of its own.
class BackgroundQueue : public Queue {
  public:
    /// Sets aside the thread of `job`, which waits until the job is started, and sets `prepared`.
    /// Any thread. Returns nothing on success, or the reason why there is no thread.
    [[nodiscard]] virtual std::optional<Error> prepare(Job job,
                                                       std::unique_ptr<PreparedJob>& prepared) = 0;
};

/// The current time, and sleeping.
class Clock {
  public:
    using Time = std::chrono::steady_clock::time_point;

    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    virtual Time now() const = 0;
    /// Blocks the calling thread.
    virtual void sleep(Seconds duration) = 0;
};

namespace dispatch {

/// Runs one job at a time, in order, on the main thread, from the event loop of the Qt application.
/// The first call must be on the main thread. When the application starts to quit, all waiting jobs
/// are dropped, and so is every later one. The delay of a job that another thread adds starts when
/// the main thread receives it.
std::shared_ptr<Queue> mainQueue();

/// A sleeping job does not delay another one, and the program does not wait for running jobs when
/// it exits. A job is dropped when there is no thread for it; that is logged. A few threads are
/// kept for the next jobs.
std::shared_ptr<BackgroundQueue> backgroundQueue();

std::shared_ptr<Clock> systemClock();

} // namespace dispatch

} // namespace kestrelnet
