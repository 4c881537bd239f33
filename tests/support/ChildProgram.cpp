// SPDX-License-Identifier: MIT
#include "tests/support/ChildProgram.h"

#include "tests/support/ExecStrings.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kestrelnet {

namespace {

[[noreturn]] void become(char* const* command, char* const* environment, int input, int output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::execvpe(*command, command, environment);
    ::_exit(127);
}

} // namespace

ChildProgram::ChildProgram(const std::vector<std::string>& command, const Environment& variables) {
    Environment environment = currentEnvironment();
    for (const auto& [name, value] : variables) {
        environment[name] = value;
    }
    const ExecStrings arguments(command);
    const ExecStrings entries(environment);
    std::array<int, 2> input{-1, -1};
    std::array<int, 2> output{-1, -1};
    if (::pipe2(input.data(), O_CLOEXEC) != 0 || ::pipe2(output.data(), O_CLOEXEC) != 0) {
        return;
    }
    input_ = input[1];
    output_ = output[0];
    pid_ = ::fork();
    if (pid_ == 0) {
        become(arguments.data(), entries.data(), input[0], output[1]);
    }
    ::close(input[0]);
    ::close(output[1]);
}

ChildProgram::~ChildProgram() {
    ::close(input_);
    ::close(output_);
    if (pid_ > 0) {
        kill();
        ::waitpid(pid_, nullptr, 0);
    }
}

void ChildProgram::tell(std::string line) const {
    line += '\n';
    EXPECT_EQ(::write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
}

std::optional<std::string> ChildProgram::readLine() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (;;) {
        if (const auto length = pending_.find('\n'); length != std::string::npos) {
            std::string line = pending_.substr(0, length);
            pending_.erase(0, length + 1);
            return line;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd readable{.fd = output_, .events = POLLIN, .revents = 0};
        if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) <= 0) {
            return std::nullopt;
        }
        std::array<char, 4096> chunk{};
        const ssize_t size = ::read(output_, chunk.data(), chunk.size());
        if (size <= 0) {
            return std::nullopt;
        }
        pending_.append(chunk.data(), static_cast<std::size_t>(size));
    }
}

bool ChildProgram::reads(std::string_view line) {
    for (;;) {
        const auto next = readLine();
        if (!next || *next == line) {
            return next.has_value();
        }
    }
}

void ChildProgram::terminate() const {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
    }
}

void ChildProgram::kill() const {
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
    }
}

void ChildProgram::freeze() const {
    if (pid_ > 0) {
        ::kill(pid_, SIGSTOP);
        siginfo_t state{};
        ::waitid(P_PID, static_cast<id_t>(pid_), &state, WSTOPPED | WEXITED | WNOWAIT);
    }
}

void ChildProgram::thaw() const {
    if (pid_ > 0) {
        ::kill(pid_, SIGCONT);
    }
}

std::optional<int> ChildProgram::exitStatus() {
    while (readLine()) {
    }
    pollfd output{.fd = output_, .events = 0, .revents = 0};
    if (pid_ <= 0 || ::poll(&output, 1, 0) <= 0) {
        return std::nullopt;
    }
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

} // namespace kestrelnet
