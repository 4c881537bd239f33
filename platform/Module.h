// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// Returns the function named `function` from the module file `module`, which lies beside the
/// application. The first call loads the module, which then stays loaded. Returns null on failure,
/// with the reason in `reason`. A module contains code that a start does not need. Any thread.
void* moduleFunction(const char* module, const char* function, std::string& reason);

} // namespace kestrelnet
