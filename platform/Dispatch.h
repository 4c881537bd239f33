// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace kestrelnet {

using Seconds = std::chrono::duration<double>;

/// Runs units of work, in the order given or side by side, as the queue says.
class Queue {
  public:
    using Job = std::function<void()>;

    Queue() = default;
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;
    virtual ~Queue() = default;

    /// Hands over `job` and returns. Any thread. A job that is dropped is destroyed without a call.
    virtual void async(Job job) = 0;
    /// The same, `delay` from now; jobs due at the same time run in the order given. Any thread.
    virtual void asyncAfter(Seconds delay, Job job) = 0;
};

/// Hands `job` to `queue` and waits until it has run or was dropped. Not from the queue's own
/// thread, which would wait for itself.
void asyncAndWait(Queue& queue, Queue::Job job);

/// The time, and waiting for it to pass.
class Clock {
  public:
    using Time = std::chrono::steady_clock::time_point;

    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    virtual Time now() const = 0;
    /// Puts the calling thread to sleep.
    virtual void sleep(Seconds duration) = 0;
};

namespace dispatch {

/// The main thread's queue: one job at a time, in order, between the events of the running Qt
/// application. First called on the main thread. Once the application is leaving, every job that
/// waits or comes later is dropped.
std::shared_ptr<Queue> mainQueue();

/// Jobs side by side on background threads. A job that sleeps delays no other job, and leaving the
/// program waits for none.
std::shared_ptr<Queue> backgroundQueue();

std::shared_ptr<Clock> systemClock();

} // namespace dispatch

} // namespace kestrelnet
