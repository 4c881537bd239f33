// SPDX-License-Identifier: MIT
#include "platform/linux/standins/Authorization.h"

#include "platform/FileManager.h"
#include "privileged/Lifeline.h"
#include "privileged/Signals.h"
#include "privileged/Starter.h"
#include "privileged/linux/Purpose.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kestrelnet {

namespace {

namespace lifeline = privileged::lifeline;
namespace signals = privileged::signals;

// The exit statuses of pkexec when it has not run the program.
constexpr int dismissed = 126;
constexpr int notAuthorized = 127;

/// Whether poll() reports an event of `descriptor` now.
bool isReady(int descriptor, short events) {
    pollfd polled{.fd = descriptor, .events = events, .revents = 0};
    return ::poll(&polled, 1, 0) > 0;
}

int refuse(std::string_view reason) {
    ::dprintf(STDERR_FILENO, "Kestrelnet: %.*s.\n", static_cast<int>(reason.size()), reason.data());
    return EXIT_FAILURE;
}

/// What the dead application cannot remove any more.
void removeRunFiles() {
    const std::string folder = files::temporaryDirectory(KESTRELNET_TEMPORARY_FOLDER);
    for (const char* name : {KESTRELNET_LAUNCHER_FILE, KESTRELNET_OUTPUT_FIFO}) {
        const std::string path = folder + name;
        struct stat status {};
        if (::lstat(path.c_str(), &status) == 0 && status.st_uid == ::getuid()) {
            ::unlink(path.c_str());
        }
    }
}

[[noreturn]] void becomePkexec(const char* pkexec, const std::string& runner,
                               const std::string& command, int owner, int errors) {
    signals::reset();
    ::dup2(owner, STDIN_FILENO);
    ::dup2(errors, STDERR_FILENO);
    // pkexec selects the message of the prompt by the purpose.
    const char* const purpose =
        privileged::purpose::of(command, ::getuid(), privileged::purpose::ownBundle());
    const char* const arguments[] = {
        "pkexec", "--disable-internal-agent", runner.c_str(), purpose, command.c_str(), nullptr};
    // pkexec refuses to run with unusual values of some variables.
    const char* const environment[] = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LANG=C.UTF-8",
                                       nullptr};
    ::execve(pkexec, const_cast<char* const*>(arguments), const_cast<char* const*>(environment));
    std::_Exit(errno);
}

class Request {
  public:
    bool start(const char* pkexec, const std::string& runner, const std::string& command);
    int serve();

  private:
    bool hasEnded();
    void handleEvents();
    void hearRunner();
    void relayErrors();
    void relay(std::string_view words);
    void stop();
    void abandon();
    void askToEnd();
    int result() const;

    int starter_ = -1;
    int signals_ = -1;
    int runner_ = -1;
    int errors_ = -1;
    pid_t pkexec_ = -1;
    int status_ = 0;
    bool isGranted_ = false;
    bool isStopping_ = false;
    /// Whether there is output to relay while standard error is full.
    bool isBehind_ = false;
    /// The error output of pkexec: kept until the result tells whether to show it.
    std::string held_;
};

bool Request::start(const char* pkexec, const std::string& runner, const std::string& command) {
    starter_ = privileged::watchStarter();
    if (starter_ < 0) {
        removeRunFiles();
        refuse("what asked for administrator rights has ended");
        return false;
    }
    const sigset_t handled = signals::set({SIGTERM, SIGINT, SIGHUP, SIGCHLD});
    signals::reset();
    ::signal(SIGPIPE, SIG_IGN);
    ::sigprocmask(SIG_SETMASK, &handled, nullptr);
    signals_ = ::signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK);
    std::array<int, 2> line{-1, -1};
    std::array<int, 2> errors{-1, -1};
    if (signals_ < 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, line.data()) != 0 ||
        ::pipe2(errors.data(), O_CLOEXEC) != 0 ||
        // Only the reading end: the command may block when it writes.
        ::fcntl(errors[0], F_SETFL, O_NONBLOCK) != 0) {
        refuse("administrator rights cannot be asked for: no descriptors are left");
        return false;
    }
    pkexec_ = ::fork();
    if (pkexec_ == 0) {
        becomePkexec(pkexec, runner, command, line[1], errors[1]);
    }
    ::close(line[1]);
    ::close(errors[1]);
    runner_ = line[0];
    errors_ = errors[0];
    if (pkexec_ < 0) {
        refuse("administrator rights cannot be asked for: no processes are left");
        return false;
    }
    return true;
}

int Request::serve() {
    while (!hasEnded()) {
        handleEvents();
    }
    // The pipe may still hold its last output.
    relayErrors();
    while (isBehind_ && !isStopping_) {
        handleEvents();
    }
    if (isReady(starter_, POLLIN)) {
        removeRunFiles();
    }
    return result();
}

bool Request::hasEnded() {
    if (::waitpid(pkexec_, &status_, WNOHANG) == 0) {
        return false;
    }
    pkexec_ = -1;
    return true;
}

void Request::handleEvents() {
    // When standard error is full, the command waits, but this process must still notice the end of
    // its starter.
    const pollfd words = isBehind_ ? pollfd{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0}
                                   : pollfd{.fd = errors_, .events = POLLIN, .revents = 0};
    std::array<pollfd, 4> events{pollfd{.fd = signals_, .events = POLLIN, .revents = 0},
                                 pollfd{.fd = runner_, .events = POLLIN, .revents = 0}, words,
                                 pollfd{.fd = starter_, .events = POLLIN, .revents = 0}};
    if (::poll(events.data(), events.size(), -1) <= 0) {
        return;
    }
    signalfd_siginfo signal;
    while (::read(signals_, &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo != SIGCHLD) {
            stop();
        }
    }
    if (events[1].revents != 0) {
        hearRunner();
    }
    if (events[2].revents != 0) {
        relayErrors();
    }
    if (events[3].revents != 0) {
        abandon();
    }
}

void Request::hearRunner() {
    char message = 0;
    const ssize_t size = ::recv(runner_, &message, sizeof message, MSG_DONTWAIT);
    if (size > 0 && message == lifeline::started) {
        isGranted_ = true;
        held_.clear();
    } else if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) {
        ::close(std::exchange(runner_, -1));
    }
}

void Request::relayErrors() {
    // A pipe that is ready for writing accepts this many bytes without blocking.
    std::array<char, PIPE_BUF> chunk{};
    isBehind_ = false;
    while (errors_ >= 0 && isReady(errors_, POLLIN)) {
        isBehind_ = isGranted_ && !isReady(STDERR_FILENO, POLLOUT);
        if (isBehind_) {
            return;
        }
        const ssize_t size = ::read(errors_, chunk.data(), chunk.size());
        if (size <= 0) {
            ::close(std::exchange(errors_, -1));
            return;
        }
        relay({chunk.data(), static_cast<std::size_t>(size)});
    }
}

void Request::relay(std::string_view words) {
    constexpr std::size_t mostHeld = 4096;
    // The runner reports its start before the command writes anything.
    if (runner_ >= 0) {
        hearRunner();
    }
    if (isGranted_) {
        [[maybe_unused]] const ssize_t shown = ::write(STDERR_FILENO, words.data(), words.size());
    } else {
        held_.append(words.substr(0, mostHeld - held_.size()));
    }
}

void Request::stop() {
    isStopping_ = true;
    if (runner_ >= 0) {
        ::send(runner_, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL);
    }
    askToEnd();
}

void Request::abandon() {
    isStopping_ = true;
    ::close(std::exchange(starter_, -1));
    removeRunFiles();
    askToEnd();
    if (runner_ >= 0) {
        ::close(std::exchange(runner_, -1));
    }
}

/// Withdraws the question if it is still open. After the authorization pkexec has become the
/// runner's front, and the runner's guard watches the lifeline.
void Request::askToEnd() {
    if (pkexec_ > 0) {
        ::kill(pkexec_, SIGTERM);
    }
}

int Request::result() const {
    if (isGranted_) {
        return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
    }
    if (!WIFEXITED(status_)) {
        return refuse("the request for administrator rights was taken back");
    }
    if (WEXITSTATUS(status_) == dismissed) {
        return refuse("the request for administrator rights was dismissed");
    }
    if (WEXITSTATUS(status_) == ENOENT) {
        return refuse("administrator rights cannot be asked for: pkexec, a part of polkit, is not "
                      "installed");
    }
    if (held_.find("No authentication agent") != std::string::npos) {
        return refuse("administrator rights cannot be asked for: this session has no polkit "
                      "authentication agent, which would ask for the password");
    }
    if (WEXITSTATUS(status_) == notAuthorized &&
        held_.find("Not authorized") != std::string::npos) {
        return refuse("administrator rights were not granted");
    }
    return refuse(held_.empty() ? "administrator rights cannot be asked for"
                                : held_.substr(0, held_.find('\n')));
}

} // namespace

int runAsAdministrator(const char* pkexec, const std::string& runner, const std::string& command) {
    Request request;
    return request.start(pkexec, runner, command) ? request.serve() : EXIT_FAILURE;
}

} // namespace kestrelnet
