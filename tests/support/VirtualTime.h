// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"

#include <functional>
#include <memory>

namespace kestrelnet {

/// A main queue, a background queue and a clock that a test controls.
///
/// The test's thread is the main thread: jobs of the main queue run there, and only inside the
/// functions below that say so. Each background job runs at once on its own thread. A background
/// job that sleeps on the clock continues when the test advances time. A prepared job sleeps on the
/// clock until its delay has passed. Jobs are dropped when no thread can be created. Time starts at
/// the clock's epoch.
///
/// Functions that wait for other threads wait at most 30 seconds, and then fail the test.
class VirtualTime {
  public:
    using Condition = std::function<bool()>;

    VirtualTime();
    /// Drops all pending and later jobs, wakes all sleeping threads, makes each later sleep advance
    /// the time and return at once, and joins the background threads.
    ~VirtualTime();
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    std::shared_ptr<Queue> mainQueue() const;
    std::shared_ptr<BackgroundQueue> backgroundQueue() const;
    /// Only background jobs may sleep on it.
    std::shared_ptr<Clock> clock() const;

    /// Runs the main jobs that are due, including those that they post.
    void runPending();

    /// Advances the time by `duration`, from event to event: wakes the threads whose sleep has
    /// ended, waits until each background thread sleeps again or has ended, and runs the main jobs
    /// that are due.
    void advance(Seconds duration);

    /// Runs main jobs, one at a time, until `condition` is true; returns whether it is. No virtual
    /// time passes.
    [[nodiscard]] bool waitUntil(const Condition& condition);

    /// Waits until `condition` is true, without running a main job; returns whether it is.
    [[nodiscard]] bool waitHoldingMain(const Condition& condition) const;

    /// Waits until every background thread sleeps or has ended.
    void settle() const;

    /// The number of pending main jobs that are due.
    std::size_t pendingCount() const;
    /// The number of sleeping background threads.
    std::size_t sleeperCount() const;

  private:
    struct State;
    class MainQueue;
    class VirtualBackgroundQueue;
    class VirtualPreparedJob;
    class VirtualClock;

    bool runOne();

    std::shared_ptr<State> state_;
    std::shared_ptr<Queue> mainQueue_;
    std::shared_ptr<BackgroundQueue> backgroundQueue_;
    std::shared_ptr<Clock> clock_;
};

} // namespace kestrelnet
