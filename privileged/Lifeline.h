// SPDX-License-Identifier: MIT
#pragma once

#include <cerrno>
#include <cstddef>
#include <sys/socket.h>
#include <sys/wait.h>

namespace kestrelnet::privileged {

/// How the main process of a run ended.
struct RunEnd {
    enum class Kind : int { exited, signalled };

    Kind kind = Kind::exited;
    /// The exit status or the number of the signal.
    int number = 0;

    static RunEnd exited(int status) { return {Kind::exited, status}; }
    static RunEnd signalled(int signal) { return {Kind::signalled, signal}; }
    /// `status` is that of waitpid() for a process that has ended.
    static RunEnd fromWaitStatus(int status) {
        return WIFEXITED(status) ? exited(WEXITSTATUS(status)) : signalled(WTERMSIG(status));
    }
    /// The exit status that a shell reports for this end.
    int exitStatus() const { return kind == Kind::exited ? number : 128 + number; }
};

namespace lifeline {

// The lifeline connects a guard with the unprivileged process that it works for, the owner: the
// front of the helper, or osascript. It is a pair of stream sockets. When the owner ends, the
// kernel closes its socket; the guard takes that for the end of the owner.
//
// A guard's last message to its front is a RunEnd.

/// From the owner, one byte: stop the run.
constexpr char stop = 'T';
/// To the owner, one byte: root's rights were granted, and the run is about to start.
constexpr char started = 'S';

/// Whether to receive again after this error. ECONNRESET comes once when the other end was closed
/// with unread messages; there may still be something to read here.
inline bool isTemporary(int error) {
    return error == EAGAIN || error == EINTR || error == ECONNRESET;
}

/// Sends `message` without waiting. Returns whether it was sent. The process must ignore SIGPIPE.
template <typename Message>
bool send(int socket, const Message& message) {
    return ::send(socket, &message, sizeof message, MSG_DONTWAIT) ==
           static_cast<ssize_t>(sizeof message);
}

} // namespace lifeline

} // namespace kestrelnet::privileged
