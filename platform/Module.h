// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet {

/// The function called `function` of the module in the file `module`, which stands beside the
/// application and is loaded, for good, at the first call; null, with the reason on standard error,
/// when it cannot be had. A module holds what a start need not pay for. Any thread.
void* moduleFunction(const char* module, const char* function);

} // namespace kestrelnet
