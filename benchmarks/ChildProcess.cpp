// SPDX-License-Identifier: MIT
#include "benchmarks/ChildProcess.h"

#include <cmath>
#include <csignal>
#include <ctime>
#include <fcntl.h>
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
#include <utility>

extern char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere.

namespace kestrelnet::benchmarks {

namespace {

constexpr int endBound = 5000;
constexpr double kibibytesInAMebibyte = 1024;

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

/// Those that a thread has started.
std::vector<pid_t> children(const std::filesystem::path& task) {
    std::ifstream file(task / "children");
    std::vector<pid_t> result;
    for (pid_t child = 0; file >> child;) {
        result.push_back(child);
    }
    return result;
}

std::vector<pid_t> descendants(pid_t pid) {
    std::vector<pid_t> result;
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator(folder(pid) / "task", error)) {
        for (const pid_t child : children(task.path())) {
            result.push_back(child);
            const std::vector<pid_t> further = descendants(child);
            result.insert(result.end(), further.begin(), further.end());
        }
    }
    return result;
}

/// The form that the system wants, as long as `texts` exists.
std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

ChildProcess::ChildProcess(const std::string& path, std::vector<std::string> arguments)
    : ChildProcess(Command{.path = path, .arguments = std::move(arguments)}) {}

ChildProcess::ChildProcess(const Command& command) : start_(now()) {
    std::vector<std::string> words{command.path};
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    std::vector<std::string> variables = command.variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        variables.emplace_back(*variable);
    }
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        if (command.isSilent) {
            ::posix_spawn_file_actions_addopen(&files, stream, "/dev/null", O_WRONLY, 0);
        }
    }
    const int error = ::posix_spawn(&pid_, command.path.c_str(), &files, nullptr,
                                    pointers(words).data(), pointers(variables).data());
    ::posix_spawn_file_actions_destroy(&files);
    need(error == 0, command.path + " could not be started");
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

double ChildProcess::treeMemory() const {
    double total = memory();
    for (const pid_t descendant : descendants(pid_)) {
        // It may end before its file is read.
        total +=
            valueOf(folder(descendant) / "smaps_rollup", "Pss:").value_or(0) / kibibytesInAMebibyte;
    }
    return total;
}

double ChildProcess::ownMemory() const {
    return memoryOf("Pss_Anon:");
}

double ChildProcess::residentMemory() const {
    return memoryOf("Rss:");
}

double ChildProcess::memoryOf(const char* label) const {
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

bool ChildProcess::hasMapped(std::string_view part) const {
    std::ifstream file(folder(pid_) / "maps");
    for (std::string line; std::getline(file, line);) {
        if (line.find(part) != std::string::npos) {
            return true;
        }
    }
    return false;
}

pid_t ChildProcess::childIdentifier() const {
    const std::vector<pid_t> found = children(folder(pid_) / "task" / std::to_string(pid_));
    return found.empty() ? 0 : found.front();
}

} // namespace kestrelnet::benchmarks
