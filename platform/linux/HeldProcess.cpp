// SPDX-License-Identifier: MIT
#include "platform/linux/HeldProcess.h"

#include "platform/Log.h"

#include <cerrno>
#include <poll.h>
#include <string_view>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace kestrelnet {

namespace {

/// Logs `message` with the reason in errno.
void warnOfError(std::string_view message) {
    log::warning(log::Category::desktop, message, {errno, std::generic_category()});
}

HeldProcess::State stateOf(int descriptor) {
    if (descriptor >= 0) {
        return HeldProcess::State::held;
    }
    if (errno == ESRCH) {
        return HeldProcess::State::missing;
    }
    warnOfError("the other process cannot be opened");
    return HeldProcess::State::unsupported;
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
    if (state_ != State::held) {
        return false;
    }
    if (::syscall(SYS_pidfd_send_signal, descriptor_, signal, nullptr, 0) == 0) {
        return true;
    }
    // A process that has ended is no failure.
    if (errno != ESRCH) {
        warnOfError("the other process cannot be signalled");
    }
    return false;
}

bool HeldProcess::endsWithin(std::chrono::milliseconds patience) const {
    if (state_ != State::held) {
        return state_ == State::missing;
    }
    pollfd end{.fd = descriptor_, .events = POLLIN, .revents = 0};
    return ::poll(&end, 1, static_cast<int>(patience.count())) == 1;
}

} // namespace kestrelnet
