// SPDX-License-Identifier: MIT
#include "platform/linux/HeldProcess.h"

#include <cerrno>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

HeldProcess::State stateOf(int descriptor) {
    if (descriptor >= 0) {
        return HeldProcess::State::held;
    }
    return errno == ESRCH ? HeldProcess::State::missing : HeldProcess::State::unsupported;
}

} // namespace

HeldProcess::HeldProcess(pid_t pid)
    : descriptor_(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))),
      state_(stateOf(descriptor_)) {}

HeldProcess::~HeldProcess() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

bool HeldProcess::kill(int signal) const {
    return state_ == State::held &&
           ::syscall(SYS_pidfd_send_signal, descriptor_, signal, nullptr, 0) == 0;
}

bool HeldProcess::endsWithin(std::chrono::milliseconds patience) const {
    if (state_ != State::held) {
        return state_ == State::missing;
    }
    pollfd end{.fd = descriptor_, .events = POLLIN, .revents = 0};
    return ::poll(&end, 1, static_cast<int>(patience.count())) == 1;
}

} // namespace kestrelnet
