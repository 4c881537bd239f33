// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>

namespace kestrelnet {

/// Decides which requests run at a time, and which are dropped when there are too many. Requests
/// have ascending numbers. Belongs to one thread.
///
/// The newest request starts first. When too many are under way, a newer one takes the place of the
/// oldest one that has had its least time. So a request never waits for older ones that hang, and
/// requests that come together are not dropped for each other before they can end.
class RequestSchedule {
  public:
    using Number = std::uint64_t;
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::size_t mostWaiting = 1000;
    static constexpr std::chrono::seconds leastTime{2};

    explicit RequestSchedule(std::size_t mostUnderWay) : mostUnderWay_(mostUnderWay) {}

    std::size_t mostUnderWay() const { return mostUnderWay_; }

    /// Adds a request that waits. Returns the oldest waiting one if it is dropped.
    std::optional<Number> add(Number request);

    struct Start {
        Number request;
        std::optional<Number> dropped;
    };
    /// Returns the request that starts at `now`, and the one under way that is dropped for it.
    /// Returns nothing when none may start; then due() tells how long.
    std::optional<Start> next(Time now);

    /// The time at which next() will return a request. No value while that takes the end of one.
    std::optional<Time> due() const;

    /// Removes a request that has ended.
    void end(Number request) { underWay_.erase(request); }

    /// Removes all requests.
    void clear() {
        waiting_.clear();
        underWay_.clear();
    }

  private:
    bool hasRoom() const { return underWay_.size() < mostUnderWay_; }

    std::size_t mostUnderWay_;
    /// The newest is last.
    std::deque<Number> waiting_;
    /// With the times of their starts.
    std::map<Number, Time> underWay_;
};

} // namespace kestrelnet
