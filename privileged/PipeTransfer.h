// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <sys/types.h>

namespace kestrelnet::privileged {

/// Moves bytes from the pipe `from`, which is non-blocking, to the pipe `to`, which need not be,
/// and waits for neither. What was written to `from` at once also arrives at once, if there is
/// room.
///
/// Returns the number of moved bytes; 0 at the end of `from`; -1 with `errno` when nothing could be
/// moved. EAGAIN means that there is nothing to read or no room to write.
///
/// `rest` holds bytes that are read but not yet written. The first call gets an empty string, and
/// each later call the result of the last one.
ssize_t transfer(int from, int to, std::string& rest);

} // namespace kestrelnet::privileged
