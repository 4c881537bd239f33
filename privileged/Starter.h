// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

// The starter is the process that started a program, such as the application. These functions
// return a descriptor that becomes readable when that process has ended, for any reason; the caller
// closes it. They return -1 when it has ended already or cannot be watched.

/// Watches the process that started this one.
int watchStarter();

/// Watches the process that started this one's parent.
int watchStarterOfParent();

/// For a child of the process that has called `watchStarter`: watches the same starter. `watch` is
/// the result of that call; a child may not use it itself, because not every system lets it inherit
/// the descriptor. The child must call this before its parent ends.
int inheritWatch(int watch);

} // namespace kestrelnet::privileged
