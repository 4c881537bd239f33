// SPDX-License-Identifier: MIT
#include "tests/support/UserProgram.h"

#include "tests/support/ExecStrings.h"
#include "tests/support/Waiting.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

void becomeUserOrExit(const rootWorld::User& who) {
    if (!rootWorld::become(who)) {
        ::_exit(126);
    }
}

[[noreturn]] void becomeProgram(const std::string& path, const UserProgram::Options& options,
                                int output) {
    const ExecStrings arguments(options.arguments);
    const ExecStrings environment(options.environment);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    options.prepare();
    ::execve(path.c_str(), arguments.data(), environment.data());
    ::_exit(127);
}

} // namespace

UserProgram::UserProgram(const std::string& path, const Options& options) : who_(options.who) {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe could be created";
        return;
    }
    output_ = ends[0];
    if (options.hasOwnStarter) {
        startBehindStarter(path, options, ends[1]);
    } else {
        start(path, options, ends[1]);
    }
    ::close(ends[1]);
}

UserProgram::~UserProgram() {
    ::close(output_);
    if (starter_ > 0) {
        ::kill(starter_, SIGKILL);
        ::waitpid(starter_, nullptr, 0);
    } else if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

void UserProgram::start(const std::string& path, const Options& options, int output) {
    pid_ = ::fork();
    if (pid_ == 0) {
        becomeUserOrExit(who_);
        becomeProgram(path, options, output);
    }
}

void UserProgram::startBehindStarter(const std::string& path, const Options& options, int output) {
    std::array<int, 2> pidPipe{-1, -1};
    if (::pipe2(pidPipe.data(), O_CLOEXEC) != 0) {
        return;
    }
    starter_ = ::fork();
    if (starter_ == 0) {
        becomeUserOrExit(who_);
        const pid_t program = ::fork();
        if (program == 0) {
            becomeProgram(path, options, output);
        }
        const bool done = ::write(pidPipe[1], &program, sizeof program) == sizeof program;
        ::close_range(STDERR_FILENO + 1, ~0U, 0);
        while (done && ::waitpid(program, nullptr, 0) < 0) {
        }
        ::_exit(0);
    }
    ::close(pidPipe[1]);
    EXPECT_EQ(::read(pidPipe[0], &pid_, sizeof pid_), static_cast<ssize_t>(sizeof pid_));
    ::close(pidPipe[0]);
}

int UserProgram::send(const rootWorld::User& who, pid_t pid, int signal) {
    return rootWorld::as(who, [=] { return ::kill(pid, signal) == 0 ? 0 : errno; });
}

std::optional<int> UserProgram::waitStatus() {
    std::optional<int> result;
    const bool ended = waitFor([&] {
        int status = 0;
        if (pid_ <= 0 || starter_ > 0 || ::waitpid(pid_, &status, WNOHANG) != pid_) {
            return false;
        }
        result = status;
        return true;
    });
    if (ended) {
        pid_ = -1;
    }
    return result;
}

std::string UserProgram::output() const {
    std::string text;
    const bool ended = waitFor([&] {
        pollfd readable{.fd = output_, .events = POLLIN, .revents = 0};
        std::array<char, 4096> chunk{};
        while (::poll(&readable, 1, 0) > 0) {
            const ssize_t size = ::read(output_, chunk.data(), chunk.size());
            if (size <= 0) {
                return true;
            }
            text.append(chunk.data(), static_cast<std::size_t>(size));
        }
        return false;
    });
    EXPECT_TRUE(ended) << "a process still has the output open";
    return text;
}

} // namespace kestrelnet
