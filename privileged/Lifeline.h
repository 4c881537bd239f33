// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged::lifeline {

// The connection between a root process and the unprivileged one that it works for, the owner: a
// pair of sockets that keep messages apart. The messages are a byte each, but for the last, the
// wait status of the run. The owner's end is closed by the kernel whatever becomes of the owner,
// and that is a message too: it has gone, or has given up.

/// From the owner: the run is to stop.
constexpr char stop = 'T';
/// To the owner: rights were given, and the run is about to start.
constexpr char started = 'S';

} // namespace kestrelnet::privileged::lifeline
