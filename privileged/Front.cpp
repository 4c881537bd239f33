// SPDX-License-Identifier: MIT
#include "privileged/Front.h"

#include "privileged/Signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// For the signal handler.
int guardSocket = -1;
volatile std::sig_atomic_t isStopping = 0;

extern "C" void passStopOn(int /*signal*/) {
    const int saved = errno;
    isStopping = 1;
    lifeline::send(guardSocket, lifeline::stop);
    errno = saved;
}

/// A handler also works while this process waits for a slow stream of the caller's.
void handleStopRequests() {
    struct sigaction action {};
    action.sa_handler = passStopOn;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        ::sigaction(signal, &action, nullptr);
    }
    const sigset_t none = signals::set({});
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Waits until output can be copied or `socket` is readable, and copies. Returns the events of
/// `socket`; nothing when neither happened within `milliseconds`, -1 being no limit.
std::optional<short> copyOutput(std::vector<Relay>& relays, int socket, int milliseconds) {
    std::vector<pollfd> polled{pollfd{.fd = socket, .events = POLLIN, .revents = 0}};
    for (const Relay& relay : relays) {
        const Relay::Events events = relay.awaited();
        polled.insert(polled.end(), events.begin(), events.end());
    }
    const int count = ::poll(polled.data(), static_cast<nfds_t>(polled.size()), milliseconds);
    if (count < 0) {
        return 0;
    }
    for (std::size_t index = 0; index < relays.size(); ++index) {
        relays[index].copy({polled[2 * index + 1], polled[2 * index + 2]});
    }
    return count == 0 ? std::nullopt : std::optional(polled[0].revents);
}

/// The guard's last message, which may arrive in pieces.
class EndMessage {
  public:
    /// Receives what is there. Returns whether more may follow.
    bool receive(int socket) {
        const ssize_t size =
            ::recv(socket, bytes_.data() + size_, bytes_.size() - size_, MSG_DONTWAIT);
        size_ += size > 0 ? static_cast<std::size_t>(size) : 0;
        return size > 0 || (size < 0 && lifeline::isTemporary(errno));
    }
    bool isComplete() const { return size_ == bytes_.size(); }
    RunEnd end() const {
        RunEnd end;
        std::memcpy(&end, bytes_.data(), sizeof end);
        return end;
    }

  private:
    std::array<char, sizeof(RunEnd)> bytes_{};
    std::size_t size_ = 0;
};

/// Waits for the guard's end, which is the end of the whole run: then nothing more is written.
void reap(pid_t guard) {
    while (::waitpid(guard, nullptr, 0) < 0 && errno == EINTR) {
    }
}

void copyRemainingOutput(std::vector<Relay>& relays) {
    constexpr int patience = 100;
    const auto isLeft = [](const Relay& relay) { return !relay.isEmpty(); };
    while (std::any_of(relays.begin(), relays.end(), isLeft)) {
        if (!copyOutput(relays, -1, isStopping != 0 ? patience : -1)) {
            return;
        }
    }
}

} // namespace

sigset_t stopRequests() {
    return signals::set({SIGTERM, SIGINT, SIGHUP, SIGQUIT});
}

std::optional<RunEnd> serve(pid_t guard, const Connection& connection) {
    guardSocket = connection.socket();
    handleStopRequests();
    std::vector<Relay> relays = connection.relays();
    EndMessage message;
    while (!message.isComplete()) {
        if (copyOutput(relays, guardSocket, -1).value_or(0) != 0 && !message.receive(guardSocket)) {
            break;
        }
    }
    reap(guard);
    copyRemainingOutput(relays);
    return message.isComplete() ? std::optional(message.end()) : std::nullopt;
}

void endLike(const RunEnd& end) {
    if (end.kind == RunEnd::Kind::signalled) {
        signals::reset();
        ::raise(end.number);
    }
    std::_Exit(end.kind == RunEnd::Kind::exited ? end.number : EXIT_FAILURE);
}

} // namespace kestrelnet::privileged
