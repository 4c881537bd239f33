// SPDX-License-Identifier: MIT
// Waiting for conditions that change outside the test's thread.
#pragma once

#include <functional>

namespace kestrelnet {

/// Returns when `condition` is true, or after 30 seconds; returns whether it is true.
[[nodiscard]] bool waitFor(const std::function<bool()>& condition);

} // namespace kestrelnet
