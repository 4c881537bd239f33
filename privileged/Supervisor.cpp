// SPDX-License-Identifier: MIT
#include "privileged/Supervisor.h"

#include "privileged/Lifeline.h"
#include "privileged/ProcessTree.h"
#include "privileged/Signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// Between two rounds of killing. A child that is born during one round is killed in the next.
constexpr auto killInterval = 10ms;

class Supervisor {
  public:
    Supervisor(int owner, StopReaches reach, const Graces& graces)
        : owner_(owner), reach_(reach), graces_(graces) {}

    std::optional<int> run(const std::function<void()>& become);

  private:
    bool start(const std::function<void()>& become);
    void reap();
    void await();
    void hearSignals();
    void hearOwner();
    void stop();
    void endWhatIsLeft();
    void askEveryProcess();
    void killBy(Clock::time_point time) { deadline_ = std::min(deadline_, time); }
    bool isKilling() const { return Clock::now() >= deadline_; }
    int timeout() const;

    int owner_;
    StopReaches reach_;
    Graces graces_;
    int signals_ = -1;
    pid_t main_ = -1;
    std::optional<int> status_;
    bool hasChildren_ = true;
    bool ownerIsThere_ = true;
    bool mainWasAsked_ = false;
    bool everyProcessWasAsked_ = false;
    Clock::time_point deadline_ = Clock::time_point::max();
};

std::optional<int> Supervisor::run(const std::function<void()>& become) {
    if (!start(become)) {
        return std::nullopt;
    }
    for (reap(); hasChildren_; reap()) {
        if (status_) {
            endWhatIsLeft();
        }
        if (isKilling()) {
            killDescendants();
        }
        await();
    }
    return status_;
}

bool Supervisor::start(const std::function<void()>& become) {
    char message = 0;
    if (::recv(owner_, &message, sizeof message, MSG_DONTWAIT) >= 0 || errno != EAGAIN) {
        return false;
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const sigset_t heard = signals::set({SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT});
    ::sigprocmask(SIG_SETMASK, &heard, nullptr);
    signals_ = ::signalfd(-1, &heard, SFD_CLOEXEC | SFD_NONBLOCK);
    const pid_t self = ::getpid();
    main_ = signals_ < 0 ? -1 : ::fork();
    if (main_ == 0) {
        ::setsid();
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        signals::reset();
        if (::getppid() == self) {
            become();
        }
        ::_exit(127);
    }
    return main_ > 0;
}

void Supervisor::reap() {
    for (;;) {
        int status = 0;
        const pid_t ended = ::waitpid(-1, &status, WNOHANG);
        if (ended <= 0) {
            hasChildren_ = ended == 0;
            return;
        }
        if (ended == main_ && !status_) {
            status_ = status;
        }
    }
}

void Supervisor::await() {
    std::array<pollfd, 2> events{
        pollfd{.fd = signals_, .events = POLLIN, .revents = 0},
        pollfd{.fd = ownerIsThere_ ? owner_ : -1, .events = POLLIN, .revents = 0}};
    if (::poll(events.data(), events.size(), timeout()) <= 0) {
        return;
    }
    if (events[0].revents != 0) {
        hearSignals();
    }
    if (events[1].revents != 0) {
        hearOwner();
    }
}

int Supervisor::timeout() const {
    if (deadline_ == Clock::time_point::max()) {
        return -1;
    }
    const auto left = deadline_ - Clock::now();
    // poll() takes a negative time for an unlimited one.
    return static_cast<int>(
        std::chrono::ceil<std::chrono::milliseconds>(left > 0s ? left : killInterval).count());
}

void Supervisor::hearSignals() {
    signalfd_siginfo signal;
    while (::read(signals_, &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo != SIGCHLD) {
            stop();
        }
    }
}

void Supervisor::hearOwner() {
    char message = 0;
    const ssize_t size = ::recv(owner_, &message, sizeof message, MSG_DONTWAIT);
    if (size > 0 && message == lifeline::stop) {
        stop();
    } else if (size == 0 || (size < 0 && errno != EAGAIN && errno != EINTR)) {
        ownerIsThere_ = false;
        askEveryProcess();
        killBy(Clock::now() + graces_.abandoned);
    }
}

void Supervisor::stop() {
    killBy(Clock::now() + graces_.stop);
    if (reach_ == StopReaches::everyProcess) {
        askEveryProcess();
    } else if (!status_ && !mainWasAsked_ && !everyProcessWasAsked_) {
        mainWasAsked_ = true;
        // This process has not reaped the child: the identifier is still its own.
        ::kill(main_, SIGTERM);
        ::kill(main_, SIGCONT);
    }
}

void Supervisor::endWhatIsLeft() {
    askEveryProcess();
    // After a request to stop the client keeps its time, also when its shell ends earlier.
    if (deadline_ == Clock::time_point::max()) {
        killBy(Clock::now() + graces_.abandoned);
    }
}

void Supervisor::askEveryProcess() {
    if (everyProcessWasAsked_) {
        return;
    }
    everyProcessWasAsked_ = true;
    // Many programs skip their clean-up at a second request.
    const pid_t except = mainWasAsked_ && !status_ ? main_ : 0;
    terminateDescendants(except);
}

} // namespace

std::optional<int> supervise(int owner, StopReaches reach, const std::function<void()>& become,
                             const Graces& graces) {
    return Supervisor(owner, reach, graces).run(become);
}

} // namespace kestrelnet::privileged
