// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Environment.h"
#include "tests/support/RootWorld.h"

#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kestrelnet {

/// A program that an ordinary user of the root world starts, and the signals that users send.
class UserProgram {
  public:
    struct Options {
        /// Including the name of the program.
        std::vector<std::string> arguments = {"program"};
        /// The complete environment.
        Environment environment = {};
        /// Called in the child process, as the user, directly before exec.
        std::function<void()> prepare = [] {};
        /// Whether a process of the user starts the program, which can be killed, and not the test.
        bool hasOwnStarter = false;
        rootWorld::User who = rootWorld::user;
    };

    UserProgram(const std::string& path, const Options& options);
    explicit UserProgram(const std::string& path) : UserProgram(path, Options{}) {}
    /// Kills the program, or its starter if it has one.
    ~UserProgram();
    UserProgram(const UserProgram&) = delete;
    UserProgram& operator=(const UserProgram&) = delete;

    pid_t pid() const { return pid_; }
    pid_t starter() const { return starter_; }

    /// Sends `signal` to `pid` as `who`. Returns 0, or errno.
    static int send(const rootWorld::User& who, pid_t pid, int signal);
    /// Sends `signal` to the program, as its user.
    int send(int signal) const { return send(who_, pid_, signal); }

    /// Waits for the end of the program and returns its wait status; nothing after ten seconds, or
    /// if the program has its own starter.
    std::optional<int> waitStatus();
    /// Reads both output streams to their end, which must come within ten seconds.
    std::string output() const;

  private:
    void start(const std::string& path, const Options& options, int output);
    void startBehindStarter(const std::string& path, const Options& options, int output);

    rootWorld::User who_;
    pid_t pid_ = -1;
    pid_t starter_ = -1;
    int output_ = -1;
};

} // namespace kestrelnet
