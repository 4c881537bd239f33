// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>

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

// The lifeline connects a guard with the unprivileged process that it works for, the owner: the
// front of the helper, or osascript. It is a pair of SOCK_SEQPACKET sockets. When the owner ends,
// the kernel closes its socket; the guard takes that for the end of the owner.
//
// A guard's last message to its front is a RunEnd.

/// From the owner, one byte: stop the run.
constexpr char stop = 'T';
/// To the owner, one byte: root's rights were granted, and the run is about to start.
constexpr char started = 'S';

/// Whether to receive again after this error. ECONNRESET comes once, before what is still to be
/// read, when the other end was closed with unread messages.
inline bool isTemporary(int error) {
    return error == EAGAIN || error == EINTR || error == ECONNRESET;
}

} // namespace lifeline

} // namespace kestrelnet::privileged
