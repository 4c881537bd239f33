// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"
#include "platform/Environment.h"
#include "platform/Error.h"
#include "platform/NamedPipe.h"
#include "platform/Pipe.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {

/// A child process. Set its members, then run it once.
///
/// The child starts in a process group of its own, with the default signal dispositions, an empty
/// signal mask and no descriptor above 2. A running process keeps its object alive until it has
/// ended, and reports its end exactly once. Neither destroying the last other reference nor exiting
/// the program ends the child.
///
/// The handlers of its pipes, `relayedOutput` included, get everything that can be read at the end
/// of the child before the end is reported. Another process that keeps a pipe open does not delay
/// the report; a handler that waits does.
class Process : public std::enable_shared_from_this<Process> {
  public:
    using TerminationHandler = std::function<void(const std::shared_ptr<Process>&)>;

    static std::shared_ptr<Process> create();

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    // Set these before run() and do not change them afterwards, except that a pipe may be reset to
    // release its reading end. The child inherits what is not set.
    std::string executablePath;
    std::vector<std::string> arguments;
    std::optional<Environment> environment;
    std::shared_ptr<Pipe> standardOutput;
    std::shared_ptr<Pipe> standardError;
    /// A pipe to which another process copies this child's output. It is reset when the child has
    /// ended and `terminationHandler` has returned.
    std::shared_ptr<Pipe> relayedOutput;
    /// The named pipe from which it copies. What was in there at the end of the child counts as
    /// output that can be read, if the other process copies it within three seconds.
    std::unique_ptr<const NamedPipe> relaySource;
    /// Called once, on the process's waiter thread, after the child has ended and been reaped. Not
    /// called when the process did not start. If it throws std::bad_alloc it is called again after
    /// a tenth of a second; no other exception may leave it.
    TerminationHandler terminationHandler;

    /// Creates the threads that run() needs, so that a later run() does not fail for lack of them.
    /// Returns nothing on success, or the reason of the failure.
    [[nodiscard]] std::optional<Error> prepare();

    /// Starts the child, after prepare() if that was not called. May be called once, on any thread,
    /// but without an `environment` only on the main thread, which alone may change the
    /// application's environment. Returns nothing on success, or the reason of the failure; the
    /// program has then not been executed.
    [[nodiscard]] std::optional<Error> run();

    // All of the following may be called on any thread. After the end, or without a start, they
    // send no signal, even if another process has the identifier now.

    /// Sends the terminate signal.
    void terminate();
    /// Sends `signal`.
    void kill(int signal);
    /// True from a successful run() until the child has ended and the handlers of its pipes have
    /// got what can be read, however long its pipes stay open.
    bool isRunning() const;
    /// The child's identifier, also after its end; 0 if it was never started.
    int processIdentifier() const;
    /// The exit status, or the number of the signal that ended the child; 0 until the end.
    int terminationStatus() const;
    /// Waits for the end of the child. Returns at once if it was never started.
    void waitUntilExit();

  private:
    Process() = default;
    std::vector<std::shared_ptr<Pipe>> ownPipes() const;
    void awaitEnd();
    std::vector<std::shared_ptr<FileHandle::Pause>> drainOutput() const;
    void drainRelay() const;

    mutable std::mutex mutex_;
    std::condition_variable ended_;
    int pid_ = 0;
    int status_ = 0;
    bool running_ = false;
    // Set while the child runs.
    std::shared_ptr<Process> keepAlive_;
    // The waiter thread, from prepare() on.
    std::unique_ptr<PreparedJob> waiter_;
    // Weak, because these references must not keep the reading ends open.
    std::vector<std::weak_ptr<FileHandle>> outputs_;
};

} // namespace kestrelnet
