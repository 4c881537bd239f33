// SPDX-License-Identifier: MIT
#include "privileged/Guard.h"

#include "privileged/Containment.h"
#include "privileged/Signals.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// How often the processes of an ending run are looked at. The kernel reports neither that an
/// orphan has become a child of the guard, nor that another member of a process group has ended.
constexpr std::chrono::milliseconds lookInterval = 100ms;

volatile std::sig_atomic_t stopSignals = 0;

extern "C" void noteStopSignal(int /*signal*/) {
    stopSignals = 1;
}

/// Only interrupts the wait.
extern "C" void noteChild(int /*signal*/) {}

void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    ::sigaction(signal, &action, nullptr);
}

timespec asTimespec(std::chrono::nanoseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    return {.tv_sec = seconds.count(), .tv_nsec = (time - seconds).count()};
}

class Guard {
  public:
    Guard(const Watched& watched, const Graces& graces)
        : owner_(watched.owner), starter_(watched.starter), graces_(graces) {}

    std::optional<RunEnd> run(const std::function<void()>& become);

  private:
    bool start(const std::function<void()>& become);
    bool isWanted() const;
    void await();
    void hearOwner();
    void endWithin(std::chrono::milliseconds grace);

    bool isEnding() const { return deadline_ != Clock::time_point::max(); }
    std::chrono::nanoseconds timeToWait() const;

    /// -1 once it has ended.
    int owner_;
    int starter_;
    Graces graces_;
    std::optional<containment::Processes> processes_;
    Clock::time_point deadline_ = Clock::time_point::max();
};

std::optional<RunEnd> Guard::run(const std::function<void()>& become) {
    if (!start(become)) {
        return std::nullopt;
    }
    while (processes_->reap() && Clock::now() < deadline_) {
        if (processes_->hasMainEnded()) {
            endWithin(graces_.abandoned);
        }
        if (isEnding()) {
            processes_->ask();
        }
        await();
    }
    return processes_->end();
}

/// Whether the starter and the owner are there, and the owner has not asked to stop.
bool Guard::isWanted() const {
    std::array<pollfd, 2> events{pollfd{.fd = owner_, .events = POLLIN, .revents = 0},
                                 pollfd{.fd = starter_, .events = POLLIN, .revents = 0}};
    return ::poll(events.data(), events.size(), 0) == 0;
}

bool Guard::start(const std::function<void()>& become) {
    if (!isWanted()) {
        return false;
    }
    // All of these stay blocked except while the guard waits.
    const sigset_t heard = signals::set({SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT});
    ::sigprocmask(SIG_SETMASK, &heard, nullptr);
    handle(SIGCHLD, noteChild);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        handle(signal, noteStopSignal);
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        signals::reset();
        become();
        ::_exit(127);
    }
    if (child > 0) {
        processes_.emplace(child);
    }
    return child > 0;
}

void Guard::await() {
    fd_set readable;
    FD_ZERO(&readable);
    for (const int descriptor : {owner_, starter_}) {
        if (descriptor >= 0) {
            FD_SET(descriptor, &readable);
        }
    }
    const timespec timeout = asTimespec(timeToWait());
    const sigset_t none = signals::set({});
    const int count = ::pselect(std::max(owner_, starter_) + 1, &readable, nullptr, nullptr,
                                isEnding() ? &timeout : nullptr, &none);
    if (stopSignals != 0) {
        stopSignals = 0;
        endWithin(graces_.stop);
    }
    if (count <= 0) {
        return;
    }
    // The owner first: a request to stop may have come just before both ended.
    if (owner_ >= 0 && FD_ISSET(owner_, &readable)) {
        hearOwner();
    }
    if (starter_ >= 0 && FD_ISSET(starter_, &readable)) {
        starter_ = -1;
        endWithin(graces_.abandoned);
    }
}

std::chrono::nanoseconds Guard::timeToWait() const {
    const std::chrono::nanoseconds left = deadline_ - Clock::now();
    return std::clamp<std::chrono::nanoseconds>(left, 0ns, lookInterval);
}

void Guard::hearOwner() {
    char message = 0;
    const ssize_t size = ::recv(owner_, &message, sizeof message, MSG_DONTWAIT);
    if (size > 0 && message == lifeline::stop) {
        endWithin(graces_.stop);
    } else if (size == 0 || (size < 0 && !lifeline::isTemporary(errno))) {
        owner_ = -1;
        endWithin(graces_.abandoned);
    }
}

void Guard::endWithin(std::chrono::milliseconds grace) {
    if (!isEnding()) {
        deadline_ = Clock::now() + grace;
    }
}

} // namespace

std::optional<RunEnd> guardRun(const Watched& watched, const std::function<void()>& become,
                               const Graces& graces) {
    return Guard(watched, graces).run(become);
}

} // namespace kestrelnet::privileged
