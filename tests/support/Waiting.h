// SPDX-License-Identifier: MIT
// Waiting for conditions that change outside the test's thread.
#pragma once

#include <cstddef>
#include <functional>

namespace kestrelnet {

/// Returns when `condition` is true, or after 30 seconds; returns whether it is true.
[[nodiscard]] bool waitFor(const std::function<bool()>& condition);

/// The number of open descriptors and of threads of this process.
std::size_t openDescriptors();
std::size_t runningThreads();

} // namespace kestrelnet
