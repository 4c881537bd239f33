// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

// A set-user-ID program inherits most of its state from the caller. Each function resets one part
// of it. It returns null, or a phrase that says what could not be reset. The process must have
// root's rights and one thread.

/// Makes sure that descriptors 0 to 2 are open, on the null device where they were not, and closes
/// all others. Call this first: a descriptor that is opened earlier could become one of the three.
const char* cleanDescriptors();

/// Resets what the caller has set for this process and what it passes on:
/// - signals, timers, the creation mask, the working folder, the priority, resource limits;
/// - on Linux: scheduling (policy, processors, I/O class, timer slack), memory (policy, huge pages,
///   reaction to memory errors, contents of core files, and the order in which processes are killed
///   when memory runs out), the personality, and the right to read the time-stamp counter;
/// - on macOS: the background state and the I/O policy.
///
/// These stay on Linux: the control group, mitigations of processor flaws that the caller has
/// forced on, utilisation clamps of the scheduler, and the core-scheduling cookie.
const char* cleanSurroundings();

} // namespace kestrelnet::privileged
