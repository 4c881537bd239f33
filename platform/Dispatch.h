// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>

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

/// Adds `job` to `queue` and waits until it has run or was dropped. Must not be called on the
/// queue's own thread: that would be a deadlock.
void asyncAndWait(Queue& queue, Queue::Job job);

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

/// Runs jobs concurrently on background threads. A sleeping job does not delay another one, and the
/// program does not wait for running jobs when it exits.
std::shared_ptr<Queue> backgroundQueue();

std::shared_ptr<Clock> systemClock();

} // namespace dispatch

} // namespace kestrelnet
