// SPDX-License-Identifier: MIT
// Waiting for what happens outside the test's thread.
#pragma once

#include <cstddef>
#include <functional>

namespace kestrelnet {

/// Returns as soon as `condition` holds, or after ten seconds; tells whether it holds.
[[nodiscard]] bool waitFor(const std::function<bool()>& condition);

/// What this process holds at the moment.
std::size_t openDescriptors();
std::size_t runningThreads();

} // namespace kestrelnet
