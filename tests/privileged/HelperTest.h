// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/FakeClient.h"
#include "tests/support/RootWorld.h"
#include "tests/support/UserProgram.h"
#include "tests/support/Waiting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

namespace kestrelnet {

/// The helper, installed with root as owner and the set-user-ID bit, and started by an ordinary
/// user.
class HelperTest : public testing::Test {
  protected:
    using Options = UserProgram::Options;

    static constexpr const char* helperPath =
        "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";
    static constexpr const char* clientPath = "/Library/PrivilegedHelperTools/kestrelnet-client";
    /// The limit that is documented: this long after a stop no process of a run is left.
    static constexpr std::chrono::seconds endsWithin{4};

    void SetUp() override;
    /// Ends the run and checks that no process of it is left.
    void TearDown() override;

    /// Installs a client where the helper expects it: the program, or a script that executes it.
    FakeClient& installClient(std::string_view mode, std::string_view argument = "");
    FakeClient& installScriptClient(std::string_view mode);
    /// Installs an executable file with this text there.
    static void installClientText(const std::string& text);

    /// Starts the helper and waits until the client is ready.
    UserProgram& start(const FakeClient& client, const Options& options = {});
    /// Starts the helper with a shell script as client, and waits until that has created the file
    /// /tmp/ready.
    UserProgram& startScript(const std::string& text, const Options& options = {});
    /// Starts the helper, expects it to refuse, and returns its output.
    std::string refusal(const Options& options = {});

    /// The guard of the run.
    pid_t guard() const;
    /// Kills the process that has started the helper.
    void killStarter() const;

    /// Waits until no process of the runs is left. Returns the time it took.
    static std::optional<std::chrono::milliseconds> timeUntilNothingIsLeft();
    /// Whether no process is left within `endsWithin`.
    static testing::AssertionResult nothingIsLeftInTime();

    std::unique_ptr<UserProgram> program;
    std::unique_ptr<FakeClient> client_;
};

inline const rootWorld::User root{.name = "root", .uid = 0, .gid = 0, .home = "/root"};

/// Runs a shell command. Returns its exit status.
int runAsRoot(const std::string& command);

/// Whether root may raise a limit; some containers forbid it.
bool mayRaiseLimits();
/// A limit of `value` that root can raise again.
rlimit lowered(int resource, rlim_t value);
/// The limit that results from setting `soft` and `hard`.
rlimit raised(int resource, rlim_t soft, rlim_t hard);

/// The value of the line that starts with `name` in /proc/PID/FILE, trimmed.
std::string processLine(pid_t pid, const std::string& file, const std::string& name);
/// The environment that the process was started with, sorted.
std::vector<std::string> processEnvironment(pid_t pid);

} // namespace kestrelnet
