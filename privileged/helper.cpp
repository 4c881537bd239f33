// SPDX-License-Identifier: MIT
// The privileged helper: lets a user start and stop the tunnel client as root, and nothing else.
//
// Installed with root as owner and the set-user-ID bit. Any user may run it; it takes no arguments,
// and of the caller's environment DEVICE_API_KEY, AUTH_URL and RELAY_ADDR only.
//
// It is two processes. The *front* is the one that was started: it gives up root's rights for good
// as soon as the other runs, so that its user (and nobody else but root) may signal it, and stands
// for the client to its starter. The *guard* is root, in a session of its own; it starts the
// client, from a place that only root can write, and sees to it that nothing of it stays
// (Supervisor.h).
//
// The client is root in every way. It finds the three variables, those that every root shell has,
// nothing on its standard input, the caller's standard output and error, and no other descriptor
// but, when it is a script, the one that its interpreter reads it from.
//
// A request to stop is SIGTERM, SIGINT, SIGHUP or SIGQUIT to the front. It reaches the client as
// SIGTERM, which has 3 seconds to end before it is killed. SIGKILL to the front ends the client and
// all its descendants within 2 seconds.
//
// The tunnel lives no longer than the process that started the helper: with an application that has
// quit or died nobody could see or stop it any more, and the next start would show "Disconnected"
// over a live tunnel.
//
// The client's exit status, or the signal that ended it, becomes the front's. A refusal is one line
// on standard error and exit status 1.
#include "privileged/CleanState.h"
#include "privileged/Client.h"
#include "privileged/Lifeline.h"
#include "privileged/Signals.h"
#include "privileged/Starter.h"
#include "privileged/Supervisor.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet::privileged {
namespace {

int refuse(const char* subject, const char* problem) {
    ::dprintf(STDERR_FILENO, "Kestrelnet helper: %s %s.\n", subject, problem);
    return EXIT_FAILURE;
}

/// Process exit, as wait() tells it, of a run that was refused.
constexpr int refused = EXIT_FAILURE << 8;

int guard(int owner, const ClientValues& values) {
    ::setsid();
    if (const char* const problem = becomeRoot()) {
        refuse("cannot start,", problem);
        return refused;
    }
    const TrustedFile client = openTrusted(clientPath);
    if (client.problem != nullptr) {
        const std::string advice = std::string(client.problem) + "; install the helper again";
        refuse(clientPath, advice.c_str());
        return refused;
    }
    const auto status = supervise(owner, StopReaches::mainProcess, [&] {
        const char* const problem = becomeClient(client, values);
        std::_Exit(refuse("the client cannot be run:", problem));
    });
    return status.value_or(SIGTERM);
}

/// Only signals may reach this process from its user: it stays closed to tracing.
bool giveUpRights() {
    const uid_t user = ::getuid();
    const gid_t group = ::getgid();
    return ::setresgid(group, group, group) == 0 && ::setresuid(user, user, user) == 0 &&
           (user == 0 || ::seteuid(0) != 0) && ::prctl(PR_SET_DUMPABLE, 0) == 0;
}

/// Ends as the client did.
[[noreturn]] void endLike(int status) {
    if (WIFSIGNALED(status)) {
        signals::reset();
        ::raise(WTERMSIG(status));
    }
    std::_Exit(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}

/// Passes requests to stop on to `guard`, until that tells how the client has ended.
[[noreturn]] void stand(int guard, int starter, int requests) {
    std::array<pollfd, 3> events{pollfd{.fd = guard, .events = POLLIN, .revents = 0},
                                 pollfd{.fd = requests, .events = POLLIN, .revents = 0},
                                 pollfd{.fd = starter, .events = POLLIN, .revents = 0}};
    for (;;) {
        if (::poll(events.data(), events.size(), -1) < 0) {
            continue;
        }
        if (events[0].revents != 0) {
            int status = 0;
            if (::recv(guard, &status, sizeof status, 0) == sizeof status) {
                endLike(status);
            }
            std::_Exit(refuse("the tunnel's guard", "was ended"));
        }
        if (events[1].revents != 0) {
            signalfd_siginfo request;
            if (::read(requests, &request, sizeof request) == sizeof request) {
                ::send(guard, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL);
            }
        }
        if (events[2].revents != 0) {
            std::_Exit(EXIT_FAILURE);
        }
    }
}

/// Whether nobody reads this process's output any more: a starter that has ended closes its
/// descriptors before its children are given away.
bool isUnread() {
    std::array<pollfd, 2> outputs{pollfd{.fd = STDOUT_FILENO, .events = 0, .revents = 0},
                                  pollfd{.fd = STDERR_FILENO, .events = 0, .revents = 0}};
    ::poll(outputs.data(), outputs.size(), 0);
    return ((outputs[0].revents | outputs[1].revents) & POLLERR) != 0;
}

int run() {
    const auto values = ClientValues::fromEnvironment();
    if (!values) {
        return refuse("a value for the client", "is longer than 4096 bytes");
    }
    const int starter = watchStarter();
    if (starter < 0 || isUnread()) {
        return refuse("what started it", "has ended");
    }
    const sigset_t stops = signals::set({SIGTERM, SIGINT, SIGHUP, SIGQUIT});
    ::sigprocmask(SIG_SETMASK, &stops, nullptr);
    const int requests = ::signalfd(-1, &stops, SFD_CLOEXEC);
    std::array<int, 2> ends{-1, -1};
    if (requests < 0 || ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return refuse("cannot start,", "the system has no descriptors left");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ends[0]);
        const int status = guard(ends[1], *values);
        ::send(ends[1], &status, sizeof status, MSG_NOSIGNAL);
        std::_Exit(EXIT_SUCCESS);
    }
    ::close(ends[1]);
    if (child < 0) {
        return refuse("cannot start,", "the system has no processes left");
    }
    if (!giveUpRights()) {
        return refuse("cannot start,", "root's rights could not be given up");
    }
    stand(ends[0], starter, requests);
}

} // namespace
} // namespace kestrelnet::privileged

int main(int count, char** /*arguments*/) {
    using namespace kestrelnet::privileged;
    if (const char* const problem = cleanDescriptors()) {
        return refuse("cannot start,", problem);
    }
    if (count != 1) {
        return refuse("it takes", "no arguments");
    }
    if (::geteuid() != 0) {
        return refuse("it has no rights of root:",
                      "its file lacks the set-user-ID bit or lies on a file system mounted with "
                      "\"nosuid\"; install it again, or elsewhere");
    }
    if (const char* const problem = cleanSurroundings()) {
        return refuse("cannot start,", problem);
    }
    return run();
}
