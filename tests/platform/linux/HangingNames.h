// SPDX-License-Identifier: MIT
// Replaces the system's resolver of host names in programs that are linked with it and export their
// symbols: service.test is 127.0.0.1, and hangs.test is no name. Any thread.
#pragma once

#include <cstddef>

namespace kestrelnet::hangingNames {

/// The number of calls that resolve hangs.test and have not returned.
std::size_t hanging();

/// From now on, calls that resolve hangs.test do not return.
void hold();

/// Lets these calls fail.
void release();

} // namespace kestrelnet::hangingNames
