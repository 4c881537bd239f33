// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>

namespace kestrelnet {

/// A detached thread that runs one job after the other. Without a job it waits for the next one, if
/// there are not enough such threads: creating threads takes the longest part of the time before a
/// client starts. The program does not wait for them when it exits. A child process that was
/// forked without exec must not use this: the threads that wait do not exist there.
class BackgroundThread {
  public:
    /// The number of threads that wait for a job. A run by the helper uses that many.
    static constexpr std::size_t mostSpares = 2;

    /// Returns a thread that waits for run() or drop() to be called once. Any thread. Throws
    /// std::system_error when there is no thread, and std::bad_alloc.
    static std::shared_ptr<BackgroundThread> withJob(Queue::Job job);

    /// Runs the job after `delay`. Returns at once. Needs no memory.
    void run(Seconds delay) { order({.delay = delay}); }
    /// Destroys the job, on the thread. Returns at once. Needs no memory.
    void drop() { order({}); }

  private:
    struct Order {
        std::optional<Seconds> delay;
    };
    class Spares;

    static Spares& spares();
    void order(Order order);
    Order awaitOrder();
    void work();

    Queue::Job job_;
    std::mutex mutex_;
    std::condition_variable ordered_;
    std::optional<Order> order_;
};

} // namespace kestrelnet
