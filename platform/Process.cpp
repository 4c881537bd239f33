// SPDX-License-Identifier: MIT
#include "platform/Process.h"

#include "platform/Descriptors.h"
#include "platform/Memory.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

extern char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere.

namespace kestrelnet {

namespace {

Error describe(int errorNumber) {
    return {std::generic_category().message(errorNumber)};
}

/// The arguments of posix_spawn that describe the child.
class SpawnPlan {
  public:
    SpawnPlan() {
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawnattr_init(&attributes_);
    }
    ~SpawnPlan() {
        ::posix_spawnattr_destroy(&attributes_);
        ::posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    /// `descriptor` is -1 for a pipe that could not be created.
    void give(int descriptor, int stream) {
        note(descriptor < 0 ? EMFILE
                            : ::posix_spawn_file_actions_adddup2(&actions_, descriptor, stream));
    }

    /// Must be called after give().
    void isolate() {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        ::posix_spawnattr_setsigmask(&attributes_, &none);
        ::posix_spawnattr_setsigdefault(&attributes_, &all);
        ::posix_spawnattr_setpgroup(&attributes_, 0);
        ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                     POSIX_SPAWN_SETPGROUP);
        note(closeOtherDescriptors(actions_, attributes_));
    }

    /// The first error of the calls above, or 0.
    int error() const { return error_; }

    int spawn(pid_t& pid, const char* path, char* const* arguments, char* const* environment) {
        return ::posix_spawn(&pid, path, &actions_, &attributes_, arguments, environment);
    }

  private:
    void note(int error) {
        if (error_ == 0) {
            error_ = error;
        }
    }

    int error_ = 0;
    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
};

/// The null-terminated array of C strings that exec takes; `strings` must outlive it.
std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    result.reserve(strings.size() + 1);
    for (std::string& string : strings) {
        result.push_back(string.data());
    }
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> entries(const Environment& environment) {
    std::vector<std::string> result;
    result.reserve(environment.size());
    for (const auto& [name, value] : environment) {
        result.emplace_back(name).append(1, '=').append(value);
    }
    return result;
}

bool saysEnd(const siginfo_t& report) {
    return report.si_code == CLD_EXITED || report.si_code == CLD_KILLED ||
           report.si_code == CLD_DUMPED;
}

/// Waits for the end of the child `pid`, and collects it if `options` does not contain WNOWAIT.
siginfo_t awaitEndOf(pid_t pid, int options) {
    const auto child = static_cast<id_t>(pid);
    for (;;) {
        siginfo_t report{};
        if (::waitid(P_PID, child, &report, WEXITED | options) != 0) {
            if (errno != EINTR) {
                return report;
            }
        } else if (saysEnd(report)) {
            return report;
        } else {
            // Some systems report a stopped child without being asked. Collect that report, because
            // the next call would return it again at once.
            ::waitid(P_PID, child, &report, WSTOPPED | WCONTINUED | WNOHANG);
        }
    }
}

/// Collects the ended child `pid` and returns how it ended.
int reap(pid_t pid) {
    return awaitEndOf(pid, 0).si_status;
}

} // namespace

std::shared_ptr<Process> Process::create() {
    return std::shared_ptr<Process>(new Process);
}

Process::~Process() = default;

std::optional<Error> Process::prepare() {
    for (const auto& pipe : ownPipes()) {
        if (auto error = pipe->prepareReading()) {
            return error;
        }
    }
    if (waiter_) {
        return std::nullopt;
    }
    // A strong reference would keep a process alive that is never run.
    return dispatch::backgroundQueue()->prepare(
        [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->awaitEnd();
            }
        },
        waiter_);
}

std::optional<Error> Process::run() {
    SpawnPlan plan;
    if (standardOutput) {
        plan.give(standardOutput->writing_, STDOUT_FILENO);
    }
    if (standardError) {
        plan.give(standardError->writing_, STDERR_FILENO);
    }
    plan.isolate();
    if (const int error = plan.error()) {
        return describe(error);
    }
    if (auto error = prepare()) {
        return error;
    }
    std::vector<std::string> argumentStrings{executablePath};
    argumentStrings.insert(argumentStrings.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environmentStrings;
    std::vector<char*> environmentPointers;
    if (environment) {
        environmentStrings = entries(*environment);
        environmentPointers = pointers(environmentStrings);
    }
    const std::vector<std::shared_ptr<Pipe>> pipes = ownPipes();
    for (const auto& pipe : pipes) {
        outputs_.push_back(pipe->reading_);
    }
    if (relayedOutput) {
        outputs_.push_back(relayedOutput->reading_);
    }

    const std::lock_guard lock(mutex_);
    pid_t pid = 0;
    if (const int error = plan.spawn(pid, executablePath.c_str(), pointers(argumentStrings).data(),
                                     environment ? environmentPointers.data() : environ)) {
        waiter_.reset();
        return describe(error);
    }
    pid_ = pid;
    running_ = true;
    keepAlive_ = shared_from_this();
    waiter_->start();
    for (const auto& pipe : pipes) {
        pipe->closeWriting();
    }
    return std::nullopt;
}

/// The pipes of the standard streams.
std::vector<std::shared_ptr<Pipe>> Process::ownPipes() const {
    std::vector<std::shared_ptr<Pipe>> pipes;
    for (const auto& pipe : {standardOutput, standardError}) {
        if (pipe) {
            pipes.push_back(pipe);
        }
    }
    return pipes;
}

void Process::awaitEnd() {
    int pid = 0;
    {
        // run() holds the mutex until the process is complete.
        const std::lock_guard lock(mutex_);
        pid = pid_;
    }
    // Do not reap the child yet: while it is a zombie, no other process can get its identifier. It
    // is reaped under the mutex that kill() takes, so that kill() never signals another process.
    awaitEndOf(pid, WNOWAIT);
    // Ends after the report: until then the reader threads read no output of descendants.
    const auto pauses = whenThereIsMemory([this] { return drainOutput(); });
    whenThereIsMemory([this] { drainRelay(); });
    std::shared_ptr<Process> self;
    {
        const std::lock_guard lock(mutex_);
        status_ = reap(pid);
        running_ = false;
        self.swap(keepAlive_);
    }
    ended_.notify_all();
    if (const TerminationHandler handler = std::exchange(terminationHandler, nullptr)) {
        whenThereIsMemory([&] { handler(self); });
    }
    relayedOutput.reset();
}

std::vector<std::shared_ptr<FileHandle::Pause>> Process::drainOutput() const {
    std::vector<std::shared_ptr<FileHandle::Pause>> pauses;
    for (const auto& output : outputs_) {
        if (const auto handle = output.lock()) {
            pauses.push_back(handle->pause());
            handle->drain();
        }
    }
    return pauses;
}

/// Waits until the other process has copied what is in the source now, and hands that over.
void Process::drainRelay() const {
    using namespace std::chrono_literals;
    if (!relayedOutput || !relaySource) {
        return;
    }
    FileHandle& output = relayedOutput->fileHandleForReading();
    std::size_t left = relaySource->unread();
    output.drain();
    const auto deadline = std::chrono::steady_clock::now() + 3s;
    while (left > 0) {
        // When the source is empty, everything is in the pipe. Otherwise somebody may still write
        // to it, so only the number of bytes says what is older than the end.
        const bool isLast =
            relaySource->unread() == 0 || std::chrono::steady_clock::now() >= deadline;
        left -= std::min(left, output.drain());
        if (isLast) {
            return;
        }
        std::this_thread::sleep_for(1ms);
    }
}

void Process::terminate() {
    kill(SIGTERM);
}

void Process::kill(int signal) {
    const std::lock_guard lock(mutex_);
    if (running_) {
        ::kill(pid_, signal);
    }
}

bool Process::isRunning() const {
    const std::lock_guard lock(mutex_);
    return running_;
}

int Process::processIdentifier() const {
    const std::lock_guard lock(mutex_);
    return pid_;
}

int Process::terminationStatus() const {
    const std::lock_guard lock(mutex_);
    return status_;
}

void Process::waitUntilExit() {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return !running_; });
}

} // namespace kestrelnet
