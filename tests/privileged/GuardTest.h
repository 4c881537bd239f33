// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/Containment.h"
#include "privileged/Guard.h"
#include "tests/support/FakeClient.h"
#include "tests/support/RootWorld.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kestrelnet::privileged {

/// A pair of connected sockets: `here` belongs to the test, `there` to the guard.
struct Line {
    int here = -1;
    int there = -1;

    void open() {
        std::array<int, 2> ends{-1, -1};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        here = ends[0];
        there = ends[1];
    }
    void leave() {
        if (here >= 0) {
            ::close(std::exchange(here, -1));
        }
    }
    void give() { ::close(std::exchange(there, -1)); }
};

/// A guard in a containment of its own; the test is its owner and its starter.
class GuardTest : public testing::Test {
  protected:
    using Clock = std::chrono::steady_clock;

    /// The exit status of the guard's process when nothing was started.
    static constexpr int notStarted = 99;
    static constexpr int notContained = 98;
    /// Short, so that the tests do not wait for seconds.
    Graces graces{.stop = std::chrono::milliseconds(600),
                  .abandoned = std::chrono::milliseconds(250)};
    /// How much later than its grace a run may end on a busy machine.
    static constexpr std::chrono::seconds delay{5};

    /// A new named pipe in `folder`, at which a program can wait.
    static std::string makeFifo(const TemporaryFolder& folder, std::string_view name) {
        std::string path = folder.file(name);
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        return path;
    }

    GuardTest() { connect(); }
    ~GuardTest() override {
        owner.leave();
        starter.leave();
    }

    void connect() {
        owner.leave();
        starter.leave();
        owner.open();
        starter.open();
    }

    /// Starts the guard with the program at `path`.
    void guardProgram(const std::string& path) {
        launcher_ = ::fork();
        if (launcher_ == 0) {
            ::close(owner.here);
            ::close(starter.here);
            ::_exit(launch(path));
        }
        owner.give();
        starter.give();
    }

    /// Starts the guard with a client of `mode`.
    FakeClient& guard(std::string_view mode) {
        client_.emplace(mode);
        guardProgram(client_->executable());
        return *client_;
    }

    FakeClient& start(std::string_view mode) {
        FakeClient& client = guard(mode);
        EXPECT_TRUE(waitFor([&client] { return client.isReady(); }));
        return client;
    }

    void askToStop() const {
        EXPECT_EQ(::send(owner.here, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL), 1);
    }
    /// The same, when the guard may have ended.
    void askToStopInVain() const {
        ::send(owner.here, &lifeline::stop, sizeof lifeline::stop, MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    /// Waits for the guard's end. Returns the exit status of the run.
    int result() {
        int status = -1;
        EXPECT_TRUE(waitFor([&] { return ::waitpid(launcher_, &status, WNOHANG) != 0; }));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    /// The guard of `client`, as the test sees it.
    static pid_t guardOf(const FakeClient& client) {
        const std::string status = readFile("/proc/" + std::to_string(*client.pid()) + "/status");
        const std::size_t at = status.find("PPid:");
        EXPECT_NE(at, std::string::npos);
        return std::stoi(status.substr(at + 5));
    }
    /// Whether no process of the world but the test is running. One that has ended may still wait
    /// for its parent.
    static bool isNothingLeft() {
        const auto left = rootWorld::processes();
        return std::all_of(left.begin(), left.end(),
                           [](const auto& process) { return process.state == 'Z'; });
    }

    Clock::duration sinceStart() const { return Clock::now() - start_; }
    void startClock() { start_ = Clock::now(); }

    Line owner;
    Line starter;

  private:
    /// In the process outside the containment. Returns the guard's exit status.
    int launch(const std::string& program) const {
        const containment::Forked forked = containment::fork();
        if (forked.pid == 0) {
            if (containment::enter() != nullptr) {
                ::_exit(notContained);
            }
            const auto end = guardRun(
                {.owner = owner.there, .starter = starter.there},
                [&] { ::execl(program.c_str(), program.c_str(), nullptr); }, graces);
            ::_exit(end ? end->exitStatus() : notStarted);
        }
        ::close(owner.there);
        int status = notContained << 8;
        ::waitpid(forked.pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    pid_t launcher_ = -1;
    std::optional<FakeClient> client_;
    Clock::time_point start_;
};

} // namespace kestrelnet::privileged
