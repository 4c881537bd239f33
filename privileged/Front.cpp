// SPDX-License-Identifier: MIT
#include "privileged/Front.h"

#include "privileged/Signals.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// For the signal handler.
int lifelineEnd = -1;

extern "C" void passStopOn(int /*signal*/) {
    const int saved = errno;
    ::send(lifelineEnd, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL | MSG_DONTWAIT);
    errno = saved;
}

/// A handler also works while this process waits for a slow stream of the caller's.
void handleStopRequests() {
    struct sigaction action {};
    action.sa_handler = passStopOn;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        ::sigaction(signal, &action, nullptr);
    }
    ::signal(SIGPIPE, SIG_IGN);
    const sigset_t none = signals::set({});
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Waits until something has happened to one of the relays, or to `lifeline`, and copies the
/// output. Returns whether the lifeline is readable.
bool step(std::vector<Relay>& relays, int lifeline) {
    std::vector<pollfd> polled{pollfd{.fd = lifeline, .events = POLLIN, .revents = 0}};
    for (const Relay& relay : relays) {
        const Relay::Events events = relay.awaited();
        polled.insert(polled.end(), events.begin(), events.end());
    }
    if (::poll(polled.data(), polled.size(), -1) < 0) {
        return false;
    }
    for (std::size_t index = 0; index < relays.size(); ++index) {
        relays[index].copy({polled[2 * index + 1], polled[2 * index + 2]});
    }
    return polled[0].revents != 0;
}

} // namespace

sigset_t stopRequests() {
    return signals::set({SIGTERM, SIGINT, SIGHUP, SIGQUIT});
}

std::optional<RunEnd> serve(Front& front) {
    lifelineEnd = front.lifeline;
    handleStopRequests();
    std::optional<RunEnd> end;
    for (bool isThere = true; isThere;) {
        if (!step(front.relays, front.lifeline)) {
            continue;
        }
        RunEnd message;
        const ssize_t size = ::recv(front.lifeline, &message, sizeof message, MSG_DONTWAIT);
        if (size == sizeof message) {
            end = message;
        }
        isThere = size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR));
    }
    // The guard's end is the end of the whole run: then nothing more is written.
    while (::waitpid(front.guard, nullptr, 0) < 0 && errno == EINTR) {
    }
    for (const Relay& relay : front.relays) {
        while (!relay.isEmpty()) {
            step(front.relays, -1);
        }
    }
    return end;
}

void endLike(const RunEnd& end) {
    if (end.kind == RunEnd::Kind::signalled) {
        signals::reset();
        ::raise(end.number);
    }
    std::_Exit(end.kind == RunEnd::Kind::exited ? end.number : EXIT_FAILURE);
}

} // namespace kestrelnet::privileged
