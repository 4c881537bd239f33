// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

namespace kestrelnet {

/// Kills the process that owns `name` on the session bus, if there is one, and waits for its end,
/// for `patience` at most. Returns whether it has ended, or true if nobody owns the name. Returns
/// false at once when the process cannot be killed.
bool killOwner(const std::string& name, std::chrono::milliseconds patience);

} // namespace kestrelnet
