// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace kestrelnet::privileged::processGroup {

/// Whether a process of `group` is running, stopped, or about to end. A process that has ended and
/// is not reaped yet does not count. The caller must be root.
bool isPopulated(pid_t group);

} // namespace kestrelnet::privileged::processGroup
