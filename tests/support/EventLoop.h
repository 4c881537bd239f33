// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>

namespace kestrelnet {

/// Runs the Qt event loop until `condition` is true or `bound` has passed; returns whether it is
/// true.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition,
                             std::chrono::milliseconds bound = std::chrono::seconds(30));

/// Handles the events that are posted already, without waiting for more.
void runPostedEvents();

} // namespace kestrelnet
