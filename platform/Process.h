// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Environment.h"
#include "platform/Error.h"
#include "platform/Pipe.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {

/// A child process: configured, then run once.
///
/// The child starts in a process group of its own, with the default signal dispositions, an empty
/// signal mask and no descriptor above 2. A running process keeps its object alive until it has
/// ended, and reports its end exactly once. Destroying the last other reference, or leaving the
/// program, ends nobody.
class Process : public std::enable_shared_from_this<Process> {
  public:
    using TerminationHandler = std::function<void(const std::shared_ptr<Process>&)>;

    static std::shared_ptr<Process> create();

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    // Set before run() and not touched after it, but that a pipe may be let go: the child has its
    // end, and this process keeps the other no longer than anybody wants to read it. What is not
    // set is inherited.
    std::string executablePath;
    std::vector<std::string> arguments;
    std::optional<Environment> environment;
    std::shared_ptr<Pipe> standardOutput;
    std::shared_ptr<Pipe> standardError;
    /// Called once, on a thread of the process's own, after the child has ended and been reaped.
    /// Never called for a process that did not start.
    TerminationHandler terminationHandler;

    /// Starts the child; to be called at most once. Returns why it could not be started, or
    /// nothing.
    [[nodiscard]] std::optional<Error> run();

    // All of the following: any thread; on a process that was never started or has ended they
    // signal nobody, whoever has its identifier now.

    /// Sends the terminate signal.
    void terminate();
    /// Sends `signal`.
    void kill(int signal);
    /// True from a successful run() until the child has ended, however long its pipes stay open.
    bool isRunning() const;
    /// The child's identifier, also after its end; 0 when it was never started.
    int processIdentifier() const;
    /// The exit status, or the number of the signal that ended the child; 0 until the end.
    int terminationStatus() const;
    /// Returns when the child has ended; at once when it was never started.
    void waitUntilExit();

  private:
    Process() = default;
    void awaitEnd();

    mutable std::mutex mutex_;
    std::condition_variable ended_;
    int pid_ = 0;
    int status_ = 0;
    bool running_ = false;
};

} // namespace kestrelnet
