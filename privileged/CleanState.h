// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

// A set-user-ID program inherits most of its state from the caller. Each function resets one part
// of it. It returns null, or a phrase that says what could not be reset. The process must have
// root's rights and one thread.

/// Makes sure that descriptors 0 to 2 are open, on the null device where they were not, and closes
/// all others. Call this first: a descriptor that is opened earlier could become one of the three.
const char* cleanDescriptors();

/// Sets default signals with an empty mask, creation mask 022, the root folder and no nice value;
/// stops all timers; sets the limits that the kernel gives its first process, without core files.
const char* cleanSurroundings();

/// Sets user and group to root (real, effective and saved) and drops all other groups.
const char* becomeRoot();

} // namespace kestrelnet::privileged
