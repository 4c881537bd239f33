// SPDX-License-Identifier: MIT
#include "platform/RequestSchedule.h"

#include <algorithm>

namespace kestrelnet {

std::optional<RequestSchedule::Number> RequestSchedule::add(Number request) {
    waiting_.push_back(request);
    if (waiting_.size() <= mostWaiting) {
        return std::nullopt;
    }
    const Number oldest = waiting_.front();
    waiting_.pop_front();
    return oldest;
}

std::optional<RequestSchedule::Time> RequestSchedule::due() const {
    if (waiting_.empty()) {
        return std::nullopt;
    }
    if (hasRoom()) {
        return Time::min();
    }
    std::optional<Time> earliest;
    for (const auto& [request, start] : underWay_) {
        if (request < waiting_.back()) {
            earliest = std::min(earliest.value_or(Time::max()), start + leastTime);
        }
    }
    return earliest;
}

std::optional<RequestSchedule::Start> RequestSchedule::next(Time now) {
    const std::optional<Time> time = due();
    if (!time || *time > now) {
        return std::nullopt;
    }
    Start start{.request = waiting_.back(), .dropped = std::nullopt};
    waiting_.pop_back();
    if (!hasRoom()) {
        const auto oldest =
            std::find_if(underWay_.begin(), underWay_.end(),
                         [now](const auto& entry) { return entry.second + leastTime <= now; });
        start.dropped = oldest->first;
        underWay_.erase(oldest);
    }
    underWay_.emplace(start.request, now);
    return start;
}

} // namespace kestrelnet
