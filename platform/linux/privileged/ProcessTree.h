// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace kestrelnet::privileged {

/// Sends `signal` to every descendant of this process but `except`, as they are at the moment: one
/// that is born or orphaned meanwhile may be missed. No other process is ever hit, even where the
/// kernel gives the identifier of an ended descendant to somebody else.
void signalDescendants(int signal, pid_t except = 0);

} // namespace kestrelnet::privileged
