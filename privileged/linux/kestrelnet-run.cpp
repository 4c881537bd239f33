// SPDX-License-Identifier: MIT
// kestrelnet-run PURPOSE COMMAND: the root side of the administrator prompt. PURPOSE is a name from
// Purpose.h, for which the user was asked for the password; COMMAND must be a command of it.
//
// osascript starts it through pkexec, with its end of the lifeline as standard input. It runs
// COMMAND in a root shell under a guard (Guard.h), and exits with the status of COMMAND, or 128 and
// the number of the signal that ended it. The run ends when osascript says so, when osascript ends,
// and when the process that started osascript ends: the application.
//
// Like the helper it is two processes. The front becomes the user who asked; the guard is root, and
// has none of the caller's streams. When the user ends the front, osascript ends, and with it the
// run.
//
// The command's environment holds PKEXEC_UID, the user who asked, and the variables of a root
// shell. Its standard input is empty; its output is this program's own.
#include "privileged/CleanState.h"
#include "privileged/Connection.h"
#include "privileged/Containment.h"
#include "privileged/Front.h"
#include "privileged/Guard.h"
#include "privileged/Identity.h"
#include "privileged/Lifeline.h"
#include "privileged/Starter.h"
#include "privileged/linux/Purpose.h"

#include <array>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kestrelnet::privileged {
namespace {

constexpr int notRun = 127;

/// Becomes the user who asked, whom pkexec names, without any group of the system's. Returns null,
/// or what failed.
const char* becomeCaller() {
    constexpr gid_t noGroup = 65534;
    const char* const value = std::getenv("PKEXEC_UID");
    uid_t user = ::getuid();
    if (value != nullptr) {
        const char* const last = value + std::strlen(value);
        const auto [end, error] = std::from_chars(value, last, user);
        if (error != std::errc{} || end != last) {
            return "pkexec names no user";
        }
    }
    if (::geteuid() == 0 && ::setgroups(0, nullptr) != 0) {
        return "the groups of root could not be dropped";
    }
    return becomeUser(user, noGroup);
}

/// For the front, which must not wait for a stream of the caller's with root's rights.
int refuse(const char* problem) {
    if (becomeCaller() == nullptr) {
        ::dprintf(STDERR_FILENO, "Kestrelnet: %s.\n", problem);
    }
    return notRun;
}

/// For the guard and the command, whose standard error is a pipe to the front.
int report(const char* problem) {
    ::dprintf(STDERR_FILENO, "Kestrelnet: %s.\n", problem);
    return notRun;
}

void becomeShell(char* command) {
    std::string user = "PKEXEC_UID=";
    if (const char* const value = std::getenv("PKEXEC_UID")) {
        user += value;
    }
    char shell[] = "/bin/sh";
    char option[] = "-c";
    char path[] = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
    char home[] = "HOME=/root";
    char name[] = "USER=root";
    char login[] = "LOGNAME=root";
    char shellName[] = "SHELL=/bin/sh";
    char language[] = "LANG=C.UTF-8";
    const std::array<char*, 4> arguments{shell, option, command, nullptr};
    const std::array<char*, 8> environment{path,      home,     name,        login,
                                           shellName, language, user.data(), nullptr};
    ::execve(shell, arguments.data(), environment.data());
    std::_Exit(report("the shell cannot be run"));
}

/// Moves the lifeline away from standard input, which is empty for the command.
int takeLifeline() {
    struct stat status {};
    if (::fstat(STDIN_FILENO, &status) != 0 || !S_ISSOCK(status.st_mode)) {
        return -1;
    }
    const int owner = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    return nothing >= 0 && ::dup2(nothing, STDIN_FILENO) == STDIN_FILENO ? owner : -1;
}

/// Whether this program may run `command` after a prompt for `asked`, a purpose.
bool fits(std::string_view asked, std::string_view command) {
    const char* const user = std::getenv("PKEXEC_UID");
    return asked == purpose::command ||
           (user != nullptr &&
            asked == purpose::of(command, static_cast<uid_t>(std::strtoul(user, nullptr, 10)),
                                 purpose::ownBundle()));
}

/// The guard, a process of its own.
[[noreturn]] void runGuard(Connection& connection, const Watched& watched, char* command) {
    std::optional<RunEnd> end;
    if (connection.becomeGuard()) {
        ::setsid();
        const char* problem = becomeRoot();
        if (problem == nullptr) {
            problem = containment::enter();
        }
        if (problem == nullptr) {
            end = guardRun(watched, [=] { becomeShell(command); });
        } else {
            report(problem);
        }
        const RunEnd message = end.value_or(RunEnd::exited(notRun));
        lifeline::send(connection.socket(), message);
    }
    // The kernel kills what is left of the run.
    std::_Exit(EXIT_FAILURE);
}

int run(std::string_view asked, char* command) {
    if (const char* const problem = cleanDescriptors()) {
        return refuse(problem);
    }
    const int owner = takeLifeline();
    if (owner < 0) {
        return refuse("this is a part of the application, which starts it itself");
    }
    ::send(owner, &lifeline::started, sizeof lifeline::started, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (!fits(asked, command)) {
        return refuse("this is not a command of the purpose that the password was asked for");
    }
    // pkexec has replaced itself by this program: its parent is osascript, and osascript's parent
    // is the application. A user who starts pkexec without osascript only chooses which process of
    // his own the run depends on; he could as well never end the application.
    const int starter = watchStarterOfParent();
    if (starter < 0) {
        return refuse("what asked for administrator rights has ended");
    }
    if (const char* const problem = cleanSurroundings()) {
        return refuse(problem);
    }
    Connection connection;
    if (!connection.open()) {
        return refuse("the system has no descriptors left");
    }
    const sigset_t requests = stopRequests();
    ::sigprocmask(SIG_SETMASK, &requests, nullptr);
    const containment::Forked guard = containment::fork();
    if (guard.pid == 0) {
        runGuard(connection, {.owner = owner, .starter = starter}, command);
    }
    if (!connection.becomeFront() || becomeCaller() != nullptr) {
        return notRun;
    }
    if (guard.problem != nullptr) {
        return refuse(guard.problem);
    }
    const auto end = serve(guard.pid, connection);
    return end ? end->exitStatus() : 128 + SIGKILL;
}

} // namespace
} // namespace kestrelnet::privileged

int main(int count, char** arguments) {
    using namespace kestrelnet::privileged;
    if (count != 3) {
        return refuse("kestrelnet-run takes two arguments, the purpose and the command");
    }
    if (::geteuid() != 0) {
        return refuse("the command needs root's rights");
    }
    return run(arguments[1], arguments[2]);
}
