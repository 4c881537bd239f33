// SPDX-License-Identifier: MIT
// kestrelnet-run PURPOSE COMMAND: the root side of the administrator prompt. PURPOSE is a name from
// Purpose.h, for which the user was asked for the password; COMMAND must be a command of it.
//
// osascript starts it through pkexec, with its end of the lifeline as standard input. It runs
// COMMAND by a shell of root's, ends it when the lifeline says so, with everything that descends
// from it, and exits with its status: 128 and the number of the signal that ended it.
//
// The command's environment holds PKEXEC_UID, the user who asked, and what every root shell has.
// Its standard input is empty; its output is this program's own.
#include "privileged/CleanState.h"
#include "privileged/Lifeline.h"
#include "privileged/Purpose.h"
#include "privileged/Supervisor.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
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

/// Moves the lifeline from standard input, which the command shall not have, to a place of its own.
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

int run(std::string_view asked, char* command) {
    if (const char* const problem = cleanDescriptors()) {
        return refuse(problem);
    }
    const int owner = takeLifeline();
    if (owner < 0) {
        return refuse("this is a part of the application, which starts it itself");
    }
    ::send(owner, &lifeline::started, sizeof lifeline::started, MSG_NOSIGNAL);
    if (!fits(asked, command)) {
        return refuse("this is not a command of the purpose that the password was asked for");
    }
    const char* problem = cleanSurroundings();
    if (problem == nullptr) {
        problem = becomeRoot();
    }
    if (problem != nullptr) {
        return refuse(problem);
    }
    ::setsid();
    const auto status = supervise(owner, StopReaches::everyProcess, [=] { becomeShell(command); });
    if (!status) {
        return notRun;
    }
    return WIFEXITED(*status) ? WEXITSTATUS(*status) : 128 + WTERMSIG(*status);
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
