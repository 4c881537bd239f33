// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

/// A test's hold on one run of the program fake-client; its source lists the modes.
///
/// The program, and what it has left behind, ends at the latest when this goes away. The controller
/// gives its client no arguments: a small script that names them stands at `executable()`.
class FakeClient {
  public:
    explicit FakeClient(std::string_view mode, std::string_view argument = "");
    ~FakeClient();
    FakeClient(const FakeClient&) = delete;
    FakeClient& operator=(const FakeClient&) = delete;

    /// A program without arguments, to be run once.
    const std::string& executable() const { return executable_; }
    /// Puts the program at `path`, in the place of what is there.
    void installAt(const std::string& path) const;
    /// The same, as a file of its own: a script, or the program itself, with what it needs beside
    /// it.
    void installScriptAt(const std::string& path) const;
    void installProgramAt(const std::string& path) const;

    /// The identifier of the running program, once it has written it: the one that is valid for the
    /// test, also when the program runs in a PID namespace below the test's. When such a namespace
    /// has ended, an identifier that no process has.
    std::optional<int> pid() const { return process("pid"); }
    /// The same of the process that the program has left behind.
    std::optional<int> grandchild() const { return process("grandchild"); }
    /// Whether the mode's own part is done, and commands are obeyed.
    bool isReady() const;
    /// Whether the program was started and has not ended.
    bool isAlive() const;
    /// Whether the program was started, has ended and was reaped.
    bool isGone() const;
    /// Whether all that the running program has written to its standard output was read, the
    /// commands given so far included.
    bool isHeard() const;
    /// How many bytes of its standard output wait in the pipe.
    int unreadOutput() const;
    /// How many requests to terminate have reached the mode that survives them.
    std::size_t terminations() const;

    /// What the program found at its start: the values of the entries called `name`.
    std::vector<std::string> found(std::string_view name) const;
    /// The arguments it was given in the place it was installed at, by a link or as a script.
    std::vector<std::string> arguments() const;
    /// The value of one variable of its environment.
    std::optional<std::string> environment(std::string_view name) const;

    // Commands; none waits for the program.
    void say(std::string_view bytes) const;
    void sayOnError(std::string_view bytes) const;
    void closeOutput() const { command("close-out\n"); }
    void closeError() const { command("close-err\n"); }
    void exit(int status) const { command("exit " + std::to_string(status) + "\n"); }

  private:
    std::optional<int> number(std::string_view file) const;
    std::optional<int> process(std::string_view file) const;
    void command(std::string_view bytes) const;

    void makeWay(const std::string& path) const;

    TemporaryFolder folder_;
    std::string mode_;
    std::string argument_;
    int control_ = -1;
    mutable int commands_ = 0;
    std::string executable_;
};

/// Whether `pid` is a process that has not ended.
bool isAlive(int pid);
/// Whether there is no process `pid`, not even one that waits to be reaped.
bool isGone(int pid);

} // namespace kestrelnet
