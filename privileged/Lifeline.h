// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet::privileged {

/// How the main process of a run ended.
struct RunEnd {
    enum class Kind : int { exited, signalled };

    Kind kind = Kind::exited;
    /// The exit status or the number of the signal.
    int number = 0;

    static RunEnd exited(int status) { return {Kind::exited, status}; }
    static RunEnd signalled(int signal) { return {Kind::signalled, signal}; }
    /// The exit status that a shell reports for this end.
    int exitStatus() const { return kind == Kind::exited ? number : 128 + number; }
};

namespace lifeline {

// The lifeline connects a root process with the unprivileged process that it works for, the owner.
// It is a pair of SOCK_SEQPACKET sockets. When the owner ends, the kernel closes its socket; the
// root process takes that for the end of the owner.

/// From the owner, one byte: stop the run.
constexpr char stop = 'T';
/// To the owner, one byte: root's rights were granted, and the run is about to start.
constexpr char started = 'S';

// The helper's last message to its owner is a RunEnd.

} // namespace lifeline

} // namespace kestrelnet::privileged
