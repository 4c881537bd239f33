// SPDX-License-Identifier: MIT
// kestrelnet-run COMMAND: the root side of the administrator prompt.
//
// osascript starts it through pkexec, with its end of the lifeline as standard input. It runs
// COMMAND in a root shell under a guard (Guard.h), and exits with the status of COMMAND, or 128 and
// the number of the signal that ended it. The run ends when osascript says so, when osascript ends,
// and when the process that started osascript ends: the application.
//
// The command's environment holds PKEXEC_UID, the user who asked, and the variables of a root
// shell. Its standard input is empty; its output is this program's own.
#include "privileged/CleanState.h"
#include "privileged/Containment.h"
#include "privileged/Guard.h"
#include "privileged/Lifeline.h"
#include "privileged/Signals.h"
#include "privileged/Starter.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet::privileged {
namespace {

constexpr int notRun = 127;

int refuse(const char* problem) {
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
    std::_Exit(refuse("the shell cannot be run"));
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

/// The guard. Returns the exit status.
int guardCommand(const Watched& watched, char* command) {
    ::setsid();
    if (const char* const problem = containment::enter()) {
        return refuse(problem);
    }
    const auto end = guardRun(watched, [=] { becomeShell(command); });
    return end ? end->exitStatus() : notRun;
}

/// Waits for the guard, whose exit status is the command's. What stops the run is the guard's work.
int awaitGuard(pid_t guard) {
    int status = 0;
    while (::waitpid(guard, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int run(char* command) {
    if (const char* const problem = cleanDescriptors()) {
        return refuse(problem);
    }
    const int owner = takeLifeline();
    if (owner < 0) {
        return refuse("this is a part of the application, which starts it itself");
    }
    ::send(owner, &lifeline::started, sizeof lifeline::started, MSG_NOSIGNAL | MSG_DONTWAIT);
    // pkexec has replaced itself by this program: its parent is osascript, and osascript's parent
    // is the application. A user who starts pkexec without osascript only chooses which process of
    // his own the run depends on; he could as well never end the application.
    const int starter = watchStarterOfParent();
    if (starter < 0) {
        return refuse("what asked for administrator rights has ended");
    }
    const char* problem = cleanSurroundings();
    if (problem == nullptr) {
        problem = becomeRoot();
    }
    if (problem != nullptr) {
        return refuse(problem);
    }
    const sigset_t requests = signals::set({SIGTERM, SIGINT, SIGHUP, SIGQUIT});
    ::sigprocmask(SIG_SETMASK, &requests, nullptr);
    const containment::Forked guard = containment::fork();
    if (guard.problem != nullptr) {
        return refuse(guard.problem);
    }
    if (guard.pid == 0) {
        std::_Exit(guardCommand({.owner = owner, .starter = starter}, command));
    }
    return awaitGuard(guard.pid);
}

} // namespace
} // namespace kestrelnet::privileged

int main(int count, char** arguments) {
    using namespace kestrelnet::privileged;
    if (count != 2) {
        return refuse("kestrelnet-run takes one argument, the command");
    }
    if (::geteuid() != 0) {
        return refuse("the command needs root's rights");
    }
    return run(arguments[1]);
}
