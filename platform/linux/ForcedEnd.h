// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

namespace kestrelnet {

/// Kills the process that owns `name` on the session bus, if there is one; whether there is none
/// any more within `patience`.
bool killOwner(const std::string& name, std::chrono::milliseconds patience);

} // namespace kestrelnet
