// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

// A program that gains rights at its start inherits nearly everything from whoever started it. Each
// of these undoes one kind of that, and returns what could not be done, or null. They are for a
// process that may do anything, with one thread.

/// Descriptors 0 to 2 are open, on the null device where they were not; none other is open.
/// The first thing to call: a descriptor opened before could become one of the three.
const char* cleanDescriptors();

/// Default signals, an empty mask, no timer that runs, creation mask 022, the root folder, no nice
/// value, and the limits that the kernel gives its first process, but without core files.
const char* cleanSurroundings();

/// User and group root in every way, and no other group.
const char* becomeRoot();

} // namespace kestrelnet::privileged
