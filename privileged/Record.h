// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <sys/types.h>

namespace kestrelnet::privileged {

/// Sends `text` to the system's log (facility authpriv, level info), as a message of the helper
/// whose first process is `pid`. Never waits: without a logging service, or with a full queue, the
/// message is lost. `text` must not hold a value of the caller's.
void record(pid_t pid, const std::string& text);

} // namespace kestrelnet::privileged
