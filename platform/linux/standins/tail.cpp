// SPDX-License-Identifier: MIT
// tail -f PIPE: moves all data from the named pipe PIPE to standard output, which must be a pipe
// too, from the first byte and without delay. Any number of writers may open and close the pipe. It
// ends only when its standard output has no reader any more.
#include "privileged/CleanState.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

int refuse(const char* subject, const char* reason) {
    std::fprintf(stderr, "tail: %s: %s\n", subject, reason);
    return EXIT_FAILURE;
}

/// Whether standard output has a reader. Does not wait.
bool isRead() {
    pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    return ::poll(&output, 1, 0) == 0 || (output.revents & (POLLERR | POLLNVAL)) == 0;
}

/// Opens the pipe for reading and writing: then open() does not wait for a writer, and there is no
/// end of file between two writers.
int openPipe(const char* path) {
    const int pipe = ::open(path, O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    struct stat status {};
    if (pipe >= 0 && (::fstat(pipe, &status) != 0 || !S_ISFIFO(status.st_mode))) {
        errno = EINVAL;
        return -1;
    }
    return pipe;
}

/// Moves bytes to standard output, which must be a pipe, and waits while that is full. Returns
/// false when it has no reader any more.
///
/// The kernel moves them at once: each byte is always in one of the two pipes, so that the
/// application can see at the end of a run whether some are still on their way.
bool move(int pipe) {
    constexpr std::size_t most = 65536;
    if (::splice(pipe, nullptr, STDOUT_FILENO, nullptr, most, SPLICE_F_NONBLOCK) >= 0 ||
        errno == EINTR) {
        return true;
    }
    if (errno != EAGAIN) {
        return false;
    }
    pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    ::poll(&output, 1, -1);
    return true;
}

/// Returns when standard output has no reader any more.
void follow(int pipe) {
    for (;;) {
        std::array<pollfd, 2> events{pollfd{.fd = pipe, .events = POLLIN, .revents = 0},
                                     pollfd{.fd = STDOUT_FILENO, .events = 0, .revents = 0}};
        if (::poll(events.data(), events.size(), -1) < 0) {
            continue;
        }
        if (events[1].revents != 0 || !move(pipe)) {
            return;
        }
    }
}

} // namespace

int main(int count, char** arguments) {
    if (const char* const problem = kestrelnet::privileged::cleanDescriptors()) {
        return refuse("cannot start", problem);
    }
    if (count != 3 || std::string_view(arguments[1]) != "-f") {
        return refuse("usage", "tail -f PIPE");
    }
    // Without a reader the run is over, and the pipe may belong to the next run.
    if (!isRead()) {
        return EXIT_SUCCESS;
    }
    ::signal(SIGPIPE, SIG_IGN);
    const int pipe = openPipe(arguments[2]);
    if (pipe < 0 && errno == ENOENT) {
        // The run is over, too: its pipe has been removed.
        return EXIT_SUCCESS;
    }
    if (pipe < 0) {
        const bool isNoPipe = errno == EINVAL || errno == ELOOP;
        return refuse(arguments[2], isNoPipe ? "not a named pipe" : std::strerror(errno));
    }
    follow(pipe);
    return EXIT_SUCCESS;
}
