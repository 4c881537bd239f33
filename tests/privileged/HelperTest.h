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

/// The helper, installed as root's with the set-user-ID bit, in the hands of an ordinary user.
class HelperTest : public testing::Test {
  protected:
    using Options = UserProgram::Options;

    static constexpr const char* helperPath =
        "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";
    static constexpr const char* clientPath = "/Library/PrivilegedHelperTools/kestrelnet-client";
    /// What is promised: so long after its stop nothing of a run is left.
    static constexpr std::chrono::seconds endsWithin{4};

    void SetUp() override;
    /// Ends the run, of which nothing may stay.
    void TearDown() override;

    /// Puts a client where the helper looks: the program itself, or a script that becomes it.
    FakeClient& installClient(std::string_view mode, std::string_view argument = "");
    FakeClient& installScriptClient(std::string_view mode);
    /// Puts a client of this text there.
    static void installClientText(const std::string& text);

    /// Starts the helper and waits until the client is ready.
    UserProgram& start(const FakeClient& client, const Options& options = {});
    /// Starts the helper, which is expected to end at once: what it says.
    std::string refusal(const Options& options = {});

    /// Waits until nothing is left of the runs; the whole time it took from now.
    static std::optional<std::chrono::milliseconds> timeUntilNothingIsLeft();
    /// Whether nothing is left within the time that is promised.
    static testing::AssertionResult nothingIsLeftInTime();

    std::unique_ptr<UserProgram> program;
    std::unique_ptr<FakeClient> client_;
};

inline const rootWorld::User root{.name = "root", .uid = 0, .gid = 0, .home = "/root"};

/// Runs a shell command; its exit status.
int runAsRoot(const std::string& command);

/// Whether root may raise a limit here; a container may forbid it.
bool mayRaiseLimits();
/// A limit of `value`, one that root can raise again.
rlimit lowered(int resource, rlim_t value);
/// What a limit becomes that should be these.
rlimit raised(int resource, rlim_t soft, rlim_t hard);

/// The value of the line that starts with `name` in /proc/PID/FILE, without blanks around it.
std::string processLine(pid_t pid, const std::string& file, const std::string& name);
/// The environment that the process was started with, in the order of the alphabet.
std::vector<std::string> processEnvironment(pid_t pid);

} // namespace kestrelnet
