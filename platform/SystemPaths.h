// SPDX-License-Identifier: MIT
// The places that differ from system to system.
#pragma once

#include <string>

namespace kestrelnet::systemPaths {

std::string osascript(const std::string& bundle);
std::string tail(const std::string& bundle);
std::string launchctl(const std::string& bundle);

} // namespace kestrelnet::systemPaths
