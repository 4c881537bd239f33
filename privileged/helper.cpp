// SPDX-License-Identifier: MIT
// The privileged helper: lets a user start and stop the tunnel client as root, and nothing else.
//
// It is installed with root as owner and the set-user-ID bit. It takes no arguments, and of the
// caller's environment only DEVICE_API_KEY, AUTH_URL and RELAY_ADDR.
//
// It is two processes. The *front* is the process that the caller started. It forks the guard and
// then gives up root's rights for good, so that its user may signal it. It passes requests to stop
// (SIGTERM, SIGINT, SIGHUP, SIGQUIT) on to the guard, copies the client's output to the caller's
// streams, and ends as the client ended. The *guard* is root, in a containment and a session of its
// own. It starts the client from a place that only root can write, and ends it (Guard.h).
//
// The client runs as root. It has the three variables and those of a root shell, an empty standard
// input, and pipes to the front as standard output and error; a script also has the descriptor that
// its interpreter reads it from.
//
// The run ends with the process that started the helper: without the application nobody could see
// or stop the tunnel, and the next application would show "Disconnected" over a live tunnel.
//
// Each start of the client and its end go to the system's log, with the user and the status.
//
// When the helper refuses to start the client, it prints one line on standard error and exits with
// status 1.
#include "privileged/CleanState.h"
#include "privileged/Client.h"
#include "privileged/Connection.h"
#include "privileged/Containment.h"
#include "privileged/Descriptors.h"
#include "privileged/Front.h"
#include "privileged/Guard.h"
#include "privileged/Identity.h"
#include "privileged/Lifeline.h"
#include "privileged/Record.h"
#include "privileged/Starter.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace kestrelnet::privileged {
namespace {

/// The front must not wait for a stream of the caller's with root's rights. The guard's standard
/// error is a pipe to the front, and the guard's user is root.
int refuse(const char* subject, const char* problem) {
    if (becomeUser(::getuid(), ::getgid()) == nullptr) {
        ::dprintf(STDERR_FILENO, "Kestrelnet helper: %s %s.\n", subject, problem);
    }
    return EXIT_FAILURE;
}

int refuseForLackOfStarter() {
    return refuse("what started it", "has ended");
}

/// Who started the helper, as the system sees it.
struct Caller {
    uid_t user = ::getuid();
    /// The front.
    pid_t process = ::getpid();
};

std::string description(const std::optional<RunEnd>& end) {
    if (!end) {
        return "was not started";
    }
    return (end->kind == RunEnd::Kind::exited ? "exited with status " : "was ended by signal ") +
           std::to_string(end->number);
}

/// The work of the guard. Returns how the client ended.
RunEnd guardClient(const Watched& watched, const Caller& caller, const ClientValues& values) {
    constexpr RunEnd refused{RunEnd::Kind::exited, EXIT_FAILURE};
    ::setsid();
    if (watched.starter < 0) {
        refuseForLackOfStarter();
        return refused;
    }
    const char* problem = becomeRoot();
    if (problem == nullptr) {
        problem = containment::enter();
    }
    if (problem != nullptr) {
        refuse("cannot start,", problem);
        return refused;
    }
    const TrustedFile client = openTrusted(clientPath);
    if (client.problem != nullptr) {
        const std::string advice = std::string(client.problem) + "; install the helper again";
        refuse(clientPath, advice.c_str());
        return refused;
    }
    const std::string user = "user " + std::to_string(caller.user);
    record(caller.process, user + " starts the tunnel client");
    const auto end = guardRun(watched, [&] {
        const char* const failure = becomeClient(client, values);
        std::_Exit(refuse("the client cannot be run:", failure));
    });
    record(caller.process, "the tunnel client of " + user + ' ' + description(end));
    return end.value_or(RunEnd::signalled(SIGTERM));
}

/// The guard, a process of its own.
[[noreturn]] void runGuard(Connection& connection, int starter, const Caller& caller,
                           const ClientValues& values) {
    if (connection.becomeGuard()) {
        const RunEnd end = guardClient(
            {.owner = connection.socket(), .starter = inheritWatch(starter)}, caller, values);
        lifeline::send(connection.socket(), end);
    }
    // In a PID namespace, the kernel then kills what is left of the run.
    std::_Exit(EXIT_FAILURE);
}

/// Whether nobody reads this process's output any more: a starter that has ended closes its
/// descriptors before its children get another parent.
bool isUnread() {
    std::array<pollfd, 2> outputs{pollfd{.fd = STDOUT_FILENO, .events = 0, .revents = 0},
                                  pollfd{.fd = STDERR_FILENO, .events = 0, .revents = 0}};
    for (pollfd& output : outputs) {
        // Only a pipe is asked: a file may be served by a program of the user's that never answers.
        if (!descriptors::isPipe(output.fd)) {
            output.fd = -1;
        }
    }
    ::poll(outputs.data(), outputs.size(), 0);
    return ((outputs[0].revents | outputs[1].revents) & (POLLERR | POLLHUP)) != 0;
}

int run() {
    const auto values = ClientValues::fromEnvironment();
    if (!values) {
        return refuse("a value for the client", "is longer than 4096 bytes");
    }
    const int starter = watchStarter();
    if (starter < 0 || isUnread()) {
        return refuseForLackOfStarter();
    }
    Connection connection;
    if (!connection.open()) {
        return refuse("cannot start,", "the system has no descriptors left");
    }
    const sigset_t requests = stopRequests();
    ::sigprocmask(SIG_SETMASK, &requests, nullptr);
    const Caller caller;
    const containment::Forked guard = containment::fork();
    if (guard.pid == 0) {
        runGuard(connection, starter, caller, *values);
    }
    if (!connection.becomeFront() || becomeUser(::getuid(), ::getgid()) != nullptr) {
        return EXIT_FAILURE;
    }
    if (guard.problem != nullptr) {
        return refuse("cannot start,", guard.problem);
    }
    if (const auto end = serve(guard.pid, connection)) {
        endLike(*end);
    }
    return refuse("the tunnel's guard", "was ended");
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
        return refuse("it has no rights of root:", reasonForNoRights());
    }
    if (const char* const problem = cleanSurroundings()) {
        return refuse("cannot start,", problem);
    }
    return run();
}
