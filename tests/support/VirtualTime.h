// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"

#include <functional>
#include <memory>

namespace kestrelnet {

/// A main queue, a background queue and a clock under the control of a test.
///
/// The test's thread is the main thread: jobs of the main queue run there, only inside the
/// functions below that say so. Background jobs run at once on threads of their own; asleep on the
/// clock, they stay so until the test lets time pass. Time starts at the clock's epoch.
///
/// What waits for the real world waits ten seconds at most, and then fails the test.
class VirtualTime {
  public:
    using Condition = std::function<bool()>;

    VirtualTime();
    /// Drops the jobs that wait and every later one, wakes who sleeps, lets each later sleep return
    /// at once with its time passed, and waits for the background threads.
    ~VirtualTime();
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    std::shared_ptr<Queue> mainQueue() const;
    std::shared_ptr<Queue> backgroundQueue() const;
    /// Only background jobs may sleep on it.
    std::shared_ptr<Clock> clock() const;

    /// Runs the main jobs that are due, and those that become due meanwhile.
    void runPending();

    /// Lets `duration` pass, from event to event in the order of time: wakes who has slept enough,
    /// waits until each background thread sleeps again or has ended, runs the main jobs due.
    void advance(Seconds duration);

    /// Runs main jobs, one at a time, until `condition` holds. No virtual time passes.
    [[nodiscard]] bool waitUntil(const Condition& condition);

    /// Waits until `condition` holds, without running any main job.
    [[nodiscard]] bool waitHoldingMain(const Condition& condition) const;

    /// Waits until every background thread sleeps or has ended.
    void settle() const;

    /// How many main jobs wait that are due.
    std::size_t pendingCount() const;
    /// How many background threads are asleep.
    std::size_t sleeperCount() const;

  private:
    struct State;
    class MainQueue;
    class BackgroundQueue;
    class VirtualClock;

    bool runOne();

    std::shared_ptr<State> state_;
    std::shared_ptr<Queue> mainQueue_;
    std::shared_ptr<Queue> backgroundQueue_;
    std::shared_ptr<Clock> clock_;
};

} // namespace kestrelnet
