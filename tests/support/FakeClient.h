// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/ProcessFacts.h"
#include "tests/support/TemporaryFolder.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

/// Controls one run of the program fake-client from a test. The program's source lists the modes.
///
/// The destructor ends the program and the process that it may have left behind. The controller
/// gives its client no arguments, so `executable()` is a small script that passes them to the
/// program.
class FakeClient {
  public:
    explicit FakeClient(std::string_view mode, std::string_view argument = "");
    ~FakeClient();
    FakeClient(const FakeClient&) = delete;
    FakeClient& operator=(const FakeClient&) = delete;

    /// The path of an executable without arguments, to be run once.
    const std::string& executable() const { return executable_; }
    /// Installs the program at `path` as a symbolic link, and replaces a file there.
    void installAt(const std::string& path) const;
    /// The same as a regular file: the script, or the program itself, with its arguments in a file
    /// beside it.
    void installScriptAt(const std::string& path) const;
    void installProgramAt(const std::string& path) const;

    /// The process id of the running program, once it has written it: the one that is valid for the
    /// test, also when the program runs in a PID namespace below the test's. When such a namespace
    /// has ended, an id that no process has.
    std::optional<int> pid() const { return process("pid"); }
    /// The same of the process that the program has left behind.
    std::optional<int> grandchild() const { return process("grandchild"); }
    /// Whether the program has done the mode's own part, and handles commands.
    bool isReady() const;
    /// Whether the program was started and has not ended.
    bool isAlive() const;
    /// Whether the program was started, has ended and was reaped.
    bool isGone() const;
    /// Whether the program has handled all commands so far, and its standard output has been read
    /// completely.
    bool isHeard() const;
    /// The number of unread bytes in the pipe of its standard output.
    int unreadOutput() const;
    /// The number of SIGTERM signals received, in a mode that survives them.
    std::size_t terminations() const;

    /// Whether the program has written the last word of its clean-up, in the mode "cleans-up".
    bool hasCleanedUp() const;

    /// The values of the entries `name` in the program's description of itself.
    std::vector<std::string> found(std::string_view name) const;
    /// The arguments of the installed link or script.
    std::vector<std::string> arguments() const;
    /// The value of one variable of its environment.
    std::optional<std::string> environment(std::string_view name) const;

    // Commands. They return without waiting for the program.
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

/// Whether there is no process `pid`, not even a zombie.
bool isGone(int pid);

} // namespace kestrelnet
