// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Environment.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kestrelnet {

/// A program that a test starts, tells lines to and reads lines from. It ends with the test,
/// however that ends.
class ChildProgram {
  public:
    /// `command` is a program, looked up in PATH, and its arguments; `variables` come on top of
    /// this process's environment.
    explicit ChildProgram(std::vector<std::string> command, const Environment& variables = {});
    /// Kills it.
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    int pid() const { return pid_; }

    /// Writes `line` and a line feed to its standard input.
    void tell(std::string line) const;

    /// The next line of its standard output, without its end; nothing when none comes within ten
    /// seconds or the output has ended.
    std::optional<std::string> readLine();

    /// Reads lines up to one that equals `line`; whether it came.
    [[nodiscard]] bool reads(std::string_view line);

    void terminate() const;
    void kill() const;
    /// Returns when the program stands still.
    void freeze() const;
    void thaw() const;
    /// Its exit status once it has closed its output and ended by itself; nothing when it does not
    /// close its output within ten seconds or was ended by a signal.
    std::optional<int> exitStatus();

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    std::string pending_;
};

} // namespace kestrelnet
