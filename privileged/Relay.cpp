// SPDX-License-Identifier: MIT
#include "privileged/Relay.h"

#include "privileged/Descriptors.h"
#include "privileged/PipeTransfer.h"

#include <cerrno>
#include <climits>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kestrelnet::privileged {

Relay::Relay(int from, int to) : from_(from), to_(to), isPipe_(descriptors::isPipe(to)) {}

Relay::Events Relay::awaited() const {
    const bool hasBytes = !isEmpty();
    const bool isRead = to_ >= 0;
    // The result of poll() for a descriptor without wanted events is its errors only.
    return {pollfd{.fd = hasBytes && isRead ? -1 : from_, .events = POLLIN, .revents = 0},
            pollfd{.fd = from_ < 0 ? -1 : to_,
                   .events = hasBytes ? static_cast<short>(POLLOUT) : short{0},
                   .revents = 0}};
}

bool Relay::isEmpty() const {
    int size = 0;
    return rest_.empty() && (from_ < 0 || ::ioctl(from_, FIONREAD, &size) != 0 || size == 0);
}

void Relay::copy(const Events& events) {
    if ((events[1].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        giveUp();
    }
    if (events[0].revents != 0 || events[1].revents != 0) {
        move();
    }
}

void Relay::move() {
    if (to_ < 0) {
        discard();
        return;
    }
    if (!isPipe_) {
        moveByCopying();
        return;
    }
    const ssize_t size = transfer(from_, to_, rest_);
    if (size == 0) {
        from_ = -1;
    } else if (size < 0 && errno != EAGAIN && errno != EINTR) {
        giveUp();
    }
}

/// For a stream that is no pipe. splice(), by which `transfer` moves bytes on Linux, would hold the
/// lock of the run's pipe while it waits for the stream, and a process of the run that writes to
/// the pipe could not be killed meanwhile.
void Relay::moveByCopying() {
    // A stream that is ready takes as many bytes at once.
    std::array<char, PIPE_BUF> bytes{};
    const ssize_t size = ::read(from_, bytes.data(), bytes.size());
    if (size == 0) {
        from_ = -1;
    }
    for (ssize_t written = 0; written < size;) {
        const auto left = static_cast<std::size_t>(size - written);
        const ssize_t count = ::write(to_, bytes.data() + written, left);
        if (count > 0) {
            written += count;
        } else if (errno == EAGAIN) {
            pollfd ready{.fd = to_, .events = POLLOUT, .revents = 0};
            ::poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            giveUp();
            return;
        }
    }
}

void Relay::giveUp() {
    to_ = -1;
    rest_.clear();
}

void Relay::discard() {
    std::array<char, PIPE_BUF> bytes{};
    if (::read(from_, bytes.data(), bytes.size()) == 0) {
        from_ = -1;
    }
}

} // namespace kestrelnet::privileged
