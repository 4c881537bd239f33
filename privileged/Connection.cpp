// SPDX-License-Identifier: MIT
#include "privileged/Connection.h"

#include "privileged/Descriptors.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

constexpr std::array streams{STDOUT_FILENO, STDERR_FILENO};

/// A message of one byte that carries the descriptors `streams`.
struct StreamMessage {
    char byte = 0;
    iovec content{.iov_base = &byte, .iov_len = 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof streams)> control{};
    msghdr header{};

    StreamMessage() {
        header.msg_iov = &content;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = static_cast<socklen_t>(control.size());
    }
    cmsghdr* descriptors() { return CMSG_FIRSTHDR(&header); }
};

bool closeOnExec(const std::array<int, 2>& ends) {
    return ::fcntl(ends[0], F_SETFD, FD_CLOEXEC) == 0 && ::fcntl(ends[1], F_SETFD, FD_CLOEXEC) == 0;
}

bool openSockets(std::array<int, 2>& ends) {
    return ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) == 0 && closeOnExec(ends);
}

bool openPipe(std::array<int, 2>& ends) {
    return ::pipe(ends.data()) == 0 && closeOnExec(ends) &&
           ::fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0;
}

void close(std::array<int, 2>& ends) {
    ::close(ends[0]);
    ::close(ends[1]);
}

bool emptyStreams() {
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    const bool done = nothing >= 0 && ::dup2(nothing, STDIN_FILENO) >= 0 &&
                      ::dup2(nothing, STDOUT_FILENO) >= 0 && ::dup2(nothing, STDERR_FILENO) >= 0;
    ::close(nothing);
    return done;
}

} // namespace

bool Connection::open() {
    ::signal(SIGPIPE, SIG_IGN);
    return openSockets(sockets_) && openPipes() && putStreamsAside();
}

bool Connection::openPipes() {
    const bool isOneStream = descriptors::areSame(STDOUT_FILENO, STDERR_FILENO);
    if (!openPipe(output_) || (!isOneStream && !openPipe(errors_))) {
        return false;
    }
    if (isOneStream) {
        errors_ = output_;
    }
    return true;
}

bool Connection::putStreamsAside() {
    StreamMessage message;
    cmsghdr* const part = message.descriptors();
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof streams);
    std::memcpy(CMSG_DATA(part), streams.data(), sizeof streams);
    return openSockets(aside_) && ::sendmsg(aside_[0], &message.header, 0) == 1 && emptyStreams();
}

bool Connection::becomeGuard() {
    close(aside_);
    ::close(sockets_[0]);
    socket_ = sockets_[1];
    return ::dup2(output_[1], STDOUT_FILENO) >= 0 && ::dup2(errors_[1], STDERR_FILENO) >= 0;
}

bool Connection::becomeFront() {
    ::close(sockets_[1]);
    socket_ = sockets_[0];
    StreamMessage message;
    std::array<int, streams.size()> received{};
    // The front executes no other program, which could inherit what is received.
    if (::recvmsg(aside_[1], &message.header, 0) != 1 || message.descriptors() == nullptr) {
        return false;
    }
    std::memcpy(received.data(), CMSG_DATA(message.descriptors()), sizeof received);
    close(aside_);
    for (std::size_t index = 0; index < streams.size(); ++index) {
        if (::dup2(received[index], streams[index]) < 0) {
            return false;
        }
        ::close(received[index]);
    }
    return true;
}

std::vector<Relay> Connection::relays() const {
    std::vector<Relay> found{Relay(output_[0], STDOUT_FILENO)};
    if (errors_ != output_) {
        found.emplace_back(errors_[0], STDERR_FILENO);
    }
    return found;
}

} // namespace kestrelnet::privileged
