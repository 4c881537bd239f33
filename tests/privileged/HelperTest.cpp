// SPDX-License-Identifier: MIT
#include "tests/privileged/HelperTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {

namespace fs = std::filesystem;

void HelperTest::SetUp() {
    fs::remove(helperPath);
    rootWorld::install(KESTRELNET_HELPER, "/Library/PrivilegedHelperTools");
    ASSERT_EQ(::chmod(helperPath, 04755), 0);
}

void HelperTest::TearDown() {
    program.reset();
    EXPECT_TRUE(nothingIsLeftInTime());
}

FakeClient& HelperTest::installClient(std::string_view mode, std::string_view argument) {
    client_ = std::make_unique<FakeClient>(mode, argument);
    client_->installProgramAt(clientPath);
    return *client_;
}

FakeClient& HelperTest::installScriptClient(std::string_view mode) {
    client_ = std::make_unique<FakeClient>(mode);
    client_->installScriptAt(clientPath);
    return *client_;
}

void HelperTest::installClientText(const std::string& text) {
    fs::remove(clientPath);
    std::ofstream(clientPath) << text;
    fs::permissions(clientPath, static_cast<fs::perms>(0755));
}

UserProgram& HelperTest::start(const FakeClient& client, const Options& options) {
    program = std::make_unique<UserProgram>(helperPath, options);
    EXPECT_TRUE(waitFor([&] { return client.isReady(); }));
    return *program;
}

UserProgram& HelperTest::startScript(const std::string& text, const Options& options) {
    static constexpr const char* ready = "/tmp/ready";
    fs::remove(ready);
    installClientText("#!/bin/sh\n" + text);
    program = std::make_unique<UserProgram>(helperPath, options);
    EXPECT_TRUE(waitFor([] { return fs::exists(ready); }));
    return *program;
}

pid_t HelperTest::guard() const {
    const std::string front = std::to_string(program->pid());
    return std::stoi(readFile("/proc/" + front + "/task/" + front + "/children"));
}

void HelperTest::killStarter() const {
    ASSERT_GT(program->starter(), 0);
    ASSERT_EQ(::kill(program->starter(), SIGKILL), 0);
}

std::string HelperTest::refusal(const Options& options) {
    program = std::make_unique<UserProgram>(helperPath, options);
    std::string said = program->output();
    EXPECT_EQ(program->waitStatus(), W_EXITCODE(1, 0));
    EXPECT_TRUE(nothingIsLeftInTime());
    return said;
}

namespace {

/// Whether it is an ended child that this test has not reaped yet.
bool isOwnEndedChild(const rootWorld::Survivor& survivor) {
    return survivor.state == 'Z' &&
           processLine(survivor.pid, "status", "PPid:") == std::to_string(::getpid());
}

} // namespace

std::optional<std::chrono::milliseconds> HelperTest::timeUntilNothingIsLeft() {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    if (!waitFor([] {
            const auto left = rootWorld::processes();
            return std::all_of(left.begin(), left.end(), isOwnEndedChild);
        })) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
}

testing::AssertionResult HelperTest::nothingIsLeftInTime() {
    const auto time = timeUntilNothingIsLeft();
    if (time && *time <= endsWithin) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "after " << (time ? time->count() : 10'000)
           << " ms left: " << testing::PrintToString(rootWorld::processes());
}

namespace {

rlimit present(int resource) {
    rlimit limit{};
    ::getrlimit(static_cast<__rlimit_resource_t>(resource), &limit);
    return limit;
}

} // namespace

int runAsRoot(const std::string& command) {
    return rootWorld::as(root, [&command] {
        ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        return 127;
    });
}

bool mayRaiseLimits() {
    static const bool may = rootWorld::as(root, [] {
                                rlimit limit{};
                                ::setrlimit(RLIMIT_MSGQUEUE, &limit);
                                limit.rlim_max = 1;
                                return ::setrlimit(RLIMIT_MSGQUEUE, &limit);
                            }) == 0;
    return may;
}

rlimit lowered(int resource, rlim_t value) {
    return {value, mayRaiseLimits() ? value : present(resource).rlim_max};
}

rlimit raised(int resource, rlim_t soft, rlim_t hard) {
    const rlim_t highest = mayRaiseLimits() ? hard : std::min(hard, present(resource).rlim_max);
    return {std::min(soft, highest), highest};
}

std::string processLine(pid_t pid, const std::string& file, const std::string& name) {
    std::istringstream lines(readFile("/proc/" + std::to_string(pid) + '/' + file));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name)) {
            const std::size_t start = line.find_first_not_of(" \t", name.size());
            const std::size_t end = line.find_last_not_of(" \t");
            return start == std::string::npos ? "" : line.substr(start, end + 1 - start);
        }
    }
    return "no such line";
}

std::vector<std::string> processEnvironment(pid_t pid) {
    std::istringstream all(readFile("/proc/" + std::to_string(pid) + "/environ"));
    std::vector<std::string> entries;
    for (std::string entry; std::getline(all, entry, '\0');) {
        entries.push_back(entry);
    }
    std::sort(entries.begin(), entries.end());
    return entries;
}

} // namespace kestrelnet
