// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

namespace kestrelnet {

/// Runs the Qt event loop until `condition` holds, or `bound` has passed; returns whether it holds.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition,
                             std::chrono::milliseconds bound = std::chrono::seconds(10));

/// Runs the events that have been posted, without waiting for more.
void runPostedEvents();

} // namespace kestrelnet
