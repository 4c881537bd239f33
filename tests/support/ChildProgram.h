// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Environment.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kestrelnet {

/// A child process with its standard input and output on pipes. It is killed when the test process
/// ends, even by a crash. Not thread-safe.
class ChildProgram {
  public:
    /// Starts `command`, a program that is searched in PATH, and its arguments. `variables` are
    /// added to the environment of this process.
    explicit ChildProgram(const std::vector<std::string>& command,
                          const Environment& variables = {});
    /// Kills the program if it still runs.
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    int pid() const { return pid_; }

    /// Writes `line` and a line feed to the program's standard input.
    void tell(std::string line) const;

    /// Returns the next line of the program's standard output, without the line feed; nothing after
    /// ten seconds without one, or at the end of the output.
    std::optional<std::string> readLine();

    /// Reads lines until one equals `line`; returns whether it came.
    [[nodiscard]] bool reads(std::string_view line);

    void terminate() const;
    void kill() const;
    /// Returns when the program is stopped.
    void freeze() const;
    void thaw() const;
    /// Waits for the end of the program and returns its exit status; nothing if it keeps its output
    /// open for more than ten seconds, or a signal ended it.
    std::optional<int> exitStatus();

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string pending_;
};

} // namespace kestrelnet
