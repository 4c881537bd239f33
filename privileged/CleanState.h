// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

namespace kestrelnet::privileged {

// A set-user-ID program inherits most of its state from the caller. Each function resets one part
// of it. It returns null, or a phrase that says what could not be reset. The process must have
// root's rights and one thread.

/// Makes sure that descriptors 0 to 2 are open, on the null device where they were not, and closes
/// all others. Call this first: a descriptor that is opened earlier could become one of the three.
const char* cleanDescriptors();

/// Resets what the caller has set for this process and what it passes on:
/// - signals, timers, the creation mask, the working folder, the personality, resource limits;
/// - scheduling: policy, nice value, processors, I/O class, timer slack;
/// - memory: policy, huge pages, reaction to memory errors, contents of core files, and the order
/// in
///   which processes are killed when memory runs out;
/// - the right to read the time-stamp counter.
///
/// These stay: the control group, mitigations of processor flaws that the caller has forced on,
/// utilisation clamps of the scheduler, and the core-scheduling cookie.
const char* cleanSurroundings();

/// Sets user and group to root (real, effective and saved), drops all other groups, and joins a new
/// session keyring.
const char* becomeRoot();

/// Gives root's rights up for good, for `user` and `group`; root's are kept where the user is root.
/// Closes the process to tracing: its user may only signal it. Keeps other groups.
const char* becomeUser(uid_t user, gid_t group);

} // namespace kestrelnet::privileged
