// SPDX-License-Identifier: MIT
#include "benchmarks/ChildProcess.h"

#include <cmath>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere.

namespace kestrelnet::benchmarks {

namespace {

constexpr int endBound = 5000;

std::filesystem::path folder(pid_t pid) {
    return "/proc/" + std::to_string(pid);
}

int entryCount(const std::filesystem::path& path) {
    using Entries = std::filesystem::directory_iterator;
    std::error_code error;
    return static_cast<int>(std::distance(Entries(path, error), Entries()));
}

/// The number after `label` in the first line that begins with it; none without such a line.
std::optional<double> valueOf(const std::filesystem::path& path, const std::string& label) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(label)) {
            return std::stod(line.substr(label.size()));
        }
    }
    return std::nullopt;
}

} // namespace

ChildProcess::ChildProcess(const std::string& path, std::vector<std::string> arguments)
    : start_(now()) {
    std::string name = path;
    std::vector<char*> words{name.data()};
    for (std::string& argument : arguments) {
        words.push_back(argument.data());
    }
    words.push_back(nullptr);
    if (::posix_spawn(&pid_, path.c_str(), nullptr, nullptr, words.data(), environ) != 0) {
        giveUp(path + " could not be started");
    }
}

ChildProcess::~ChildProcess() {
    ::kill(pid_, SIGTERM);
    pollfd end{static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)), POLLIN, 0};
    if (::poll(&end, 1, endBound) == 0) {
        ::kill(pid_, SIGKILL);
    }
    ::close(end.fd);
    ::waitpid(pid_, nullptr, 0);
}

Usage ChildProcess::usage() const {
    constexpr double nanosecondsInAMillisecond = 1e6;
    Usage result;
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator(folder(pid_) / "task", error)) {
        // A thread may end before its files are read.
        const auto status = task.path() / "status";
        result.contextSwitches +=
            std::lround(valueOf(status, "voluntary_ctxt_switches:").value_or(0) +
                        valueOf(status, "nonvoluntary_ctxt_switches:").value_or(0));
        result.milliseconds +=
            valueOf(task.path() / "schedstat", "").value_or(0) / nanosecondsInAMillisecond;
    }
    return result;
}

double ChildProcess::processorMilliseconds() const {
    clockid_t clock{};
    timespec used{};
    if (::clock_getcpuclockid(pid_, &clock) != 0 || ::clock_gettime(clock, &used) != 0) {
        giveUp("the processor time of a program cannot be read; it may have ended");
    }
    return Milliseconds(std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec))
        .count();
}

double ChildProcess::memory() const {
    return memoryOf("Pss:");
}

double ChildProcess::ownMemory() const {
    return memoryOf("Pss_Anon:");
}

double ChildProcess::residentMemory() const {
    return memoryOf("Rss:");
}

double ChildProcess::memoryOf(const char* label) const {
    constexpr double kibibytesInAMebibyte = 1024;
    const auto kibibytes = valueOf(folder(pid_) / "smaps_rollup", label);
    if (!kibibytes) {
        giveUp("the memory use of a program cannot be read; it may have ended");
    }
    return *kibibytes / kibibytesInAMebibyte;
}

int ChildProcess::descriptorCount() const {
    return entryCount(folder(pid_) / "fd");
}

int ChildProcess::threadCount() const {
    return entryCount(folder(pid_) / "task");
}

pid_t ChildProcess::childIdentifier() const {
    std::ifstream file(folder(pid_) / "task" / std::to_string(pid_) / "children");
    pid_t child = 0;
    file >> child;
    return child;
}

} // namespace kestrelnet::benchmarks
