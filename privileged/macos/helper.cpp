// SPDX-License-Identifier: MIT
// The privileged helper on macOS: lets a user start and stop the tunnel client as root, and nothing
// else.
//
// Installed with root as owner and the set-user-ID bit. It takes no arguments, and of the caller's
// environment DEVICE_API_KEY, AUTH_URL and RELAY_ADDR only. It becomes the client, in one process:
// the client keeps the user as its real user, so that the application may signal it, and what it
// leaves behind is its own affair. A refusal is one line on standard error and exit status 1.
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The client and the folders above it, from the first on.
constexpr std::array chain{"/", "/Library", "/Library/PrivilegedHelperTools",
                           "/Library/PrivilegedHelperTools/kestrelnet-client"};
constexpr std::array names{"DEVICE_API_KEY", "AUTH_URL", "RELAY_ADDR"};
constexpr std::size_t longestValue = 4096;
constexpr int mostDescriptors = 10'240;

[[noreturn]] void refuse(const std::string& reason) {
    static_cast<void>(std::fprintf(stderr, "Kestrelnet helper: %s.\n", reason.c_str()));
    std::_Exit(EXIT_FAILURE);
}

/// Where root alone may write in every folder, nobody else can put another file in its place
/// afterwards: the path may be used.
void checkClient() {
    for (const char* const part : chain) {
        struct stat status {};
        const bool isLast = part == chain.back();
        if (::lstat(part, &status) != 0) {
            refuse(std::string(part) + " is missing; install the helper again");
        }
        if (isLast ? !S_ISREG(status.st_mode) : !S_ISDIR(status.st_mode)) {
            refuse(std::string(part) + " is not what belongs there; install the helper again");
        }
        if (status.st_uid != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
            refuse(std::string(part) +
                   " can be changed by others than root; install the helper again");
        }
    }
}

void cleanState() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) != stream) {
            std::_Exit(EXIT_FAILURE);
        }
    }
    for (int descriptor = STDERR_FILENO + 1; descriptor < mostDescriptors; ++descriptor) {
        ::close(descriptor);
    }
    for (int signal = 1; signal < NSIG; ++signal) {
        std::signal(signal, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::umask(S_IWGRP | S_IWOTH);
    constexpr rlimit noCore{};
    constexpr gid_t root = 0;
    if (::setrlimit(RLIMIT_CORE, &noCore) != 0 || ::setgroups(1, &root) != 0 ||
        ::setgid(root) != 0 || ::chdir("/") != 0) {
        refuse("what the caller has set cannot be undone");
    }
}

std::string valueOf(const char* name) {
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        return {};
    }
    if (std::strlen(value) > longestValue) {
        refuse("a value for the client is longer than 4096 bytes");
    }
    return std::string(name) + '=' + value;
}

[[noreturn]] void becomeClient() {
    std::array<std::string, 8> entries{
        "PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin",
        "HOME=/var/root",
        "USER=root",
        "LOGNAME=root",
        "LANG=C.UTF-8",
        valueOf(names[0]),
        valueOf(names[1]),
        valueOf(names[2]),
    };
    std::array<char*, entries.size() + 1> environment{};
    std::size_t count = 0;
    for (std::string& entry : entries) {
        if (!entry.empty()) {
            environment[count++] = entry.data();
        }
    }
    std::string path = chain.back();
    const std::array<char*, 2> arguments{path.data(), nullptr};
    ::execve(path.c_str(), arguments.data(), environment.data());
    refuse(std::string("the client cannot be run: ") + std::strerror(errno));
}

} // namespace

int main(int count, char** /*arguments*/) {
    if (count != 1) {
        refuse("it takes no arguments");
    }
    if (::geteuid() != 0) {
        refuse("it has no rights of root; install it again");
    }
    cleanState();
    checkClient();
    becomeClient();
}
