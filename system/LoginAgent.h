// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// The property list that opens the application at `bundlePath` once at each login. The path is
/// inserted without escaping: "&" or "<" in it makes the list invalid.
std::string launchAgentText(const std::string& bundlePath);

} // namespace kestrelnet
