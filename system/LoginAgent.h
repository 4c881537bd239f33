// SPDX-License-Identifier: MIT
// The text of the login agent.
#pragma once

#include <string>

namespace kestrelnet {

/// The property list that opens the application at `bundlePath` once at each login. The path stands
/// in it as it is: with "&" or "<" in it the list is invalid.
std::string launchAgentText(const std::string& bundlePath);

} // namespace kestrelnet
