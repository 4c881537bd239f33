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

/// A program that an ordinary user of the world starts, and what he can do with it.
class UserProgram {
  public:
    struct Options {
        /// With the program's own name first.
        std::vector<std::string> arguments = {"program"};
        /// The whole of it.
        Environment environment = {};
        /// Called in the child, as the user, just before it becomes the program.
        std::function<void()> prepare = [] {};
        /// Another process of the user's starts the program, and may be killed; otherwise the test.
        bool hasOwnStarter = false;
        rootWorld::User who = rootWorld::user;
    };

    UserProgram(const std::string& path, const Options& options);
    explicit UserProgram(const std::string& path) : UserProgram(path, Options{}) {}
    /// Kills it, and its own starter.
    ~UserProgram();
    UserProgram(const UserProgram&) = delete;
    UserProgram& operator=(const UserProgram&) = delete;

    pid_t pid() const { return pid_; }
    pid_t starter() const { return starter_; }

    /// Sends `signal` to `pid` as `who`; 0, or the number of the error.
    static int send(const rootWorld::User& who, pid_t pid, int signal);
    /// The same to the program, as its user.
    int send(int signal) const { return send(who_, pid_, signal); }

    /// Its wait status, once it has ended; nothing when it has not within ten seconds, or has a
    /// starter of its own.
    std::optional<int> waitStatus();
    /// What it has written on both streams, up to their end, which must come within ten seconds.
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
