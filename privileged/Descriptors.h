// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged::descriptors {

// These functions ask the kernel about descriptors, never a file system: a file may be served by a
// program of the user's that does not answer.

/// Closes all descriptors from `lowest` on. Returns whether that worked.
bool closeFrom(int lowest);

/// Whether `descriptor` is one of a pipe. On Linux, a FIFO is one too.
bool isPipe(int descriptor);

/// Whether two descriptors are known to be one and the same open file.
bool areSame(int one, int other);

} // namespace kestrelnet::privileged::descriptors
