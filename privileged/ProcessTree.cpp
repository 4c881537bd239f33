// SPDX-License-Identifier: MIT
#include "privileged/ProcessTree.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet::privileged {

namespace {

struct Process {
    pid_t pid = 0;
    char state = 'X';
    pid_t parent = 0;
    /// In the kernel's ticks: tells it from a later one with the same identifier.
    unsigned long long start = 0;
};

/// Process `pid`; one without a parent when there is none.
Process process(pid_t pid) {
    std::array<char, 32> path{};
    std::array<char, 1024> text{};
    std::snprintf(path.data(), path.size(), "/proc/%d/stat", pid);
    const int file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return {};
    }
    const ssize_t size = ::read(file, text.data(), text.size() - 1);
    ::close(file);
    // "PID (NAME) STATE PARENT ...", the start being the 22nd; the name may hold anything.
    const char* field = size > 0 ? std::strrchr(text.data(), ')') : nullptr;
    Process found{.pid = pid};
    for (int number = 2; field != nullptr; ++number, field = std::strchr(field + 1, ' ')) {
        if (number == 3) {
            found.state = field[1];
        } else if (number == 4) {
            found.parent = static_cast<pid_t>(std::strtol(field, nullptr, 10));
        } else if (number == 22) {
            found.start = std::strtoull(field, nullptr, 10);
            return found;
        }
    }
    return {};
}

std::vector<Process> everyProcess() {
    std::vector<Process> found;
    DIR* const folder = ::opendir("/proc");
    if (folder == nullptr) {
        return found;
    }
    while (const dirent* entry = ::readdir(folder)) {
        if (const auto pid = static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10)); pid > 0) {
            found.push_back(process(pid));
        }
    }
    ::closedir(folder);
    return found;
}

/// Those below this process, parents before their children.
std::vector<Process> descendants() {
    const std::vector<Process> all = everyProcess();
    std::vector<Process> found;
    std::vector<pid_t> parents{::getpid()};
    for (std::size_t next = 0; next < parents.size(); ++next) {
        for (const Process& candidate : all) {
            if (candidate.parent == parents[next]) {
                found.push_back(candidate);
                parents.push_back(candidate.pid);
            }
        }
    }
    return found;
}

/// The descriptor stands for one process for good. The start, asked for again after it was opened,
/// shows that this is still the one that was found, whoever its parent is by now.
void signalProcess(const Process& target, int signal) {
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, target.pid, 0));
    if (descriptor < 0) {
        return;
    }
    if (process(target.pid).start == target.start) {
        ::syscall(SYS_pidfd_send_signal, descriptor, signal, nullptr, 0);
    }
    ::close(descriptor);
}

bool contains(const std::vector<Process>& processes, const Process& wanted) {
    return std::any_of(processes.begin(), processes.end(), [&wanted](const Process& each) {
        return each.pid == wanted.pid && each.start == wanted.start;
    });
}

/// Whether it is stopped, or has ended.
bool standsStill(const Process& process) {
    return std::string_view("TtZX").find(process.state) != std::string_view::npos;
}

/// Stops every descendant but `except` and adds it to `found`; whether all of them had been found
/// before, and stood still.
bool stopAll(pid_t except, std::vector<Process>& found) {
    bool isStill = true;
    for (const Process& each : descendants()) {
        if (each.pid == except) {
            continue;
        }
        isStill = isStill && standsStill(each);
        if (!contains(found, each)) {
            signalProcess(each, SIGSTOP);
            found.push_back(each);
            isStill = false;
        }
    }
    return isStill;
}

} // namespace

void terminateDescendants(pid_t except) {
    // Nobody shall be held up for long by a family that outruns this, or by one who waits for the
    // kernel.
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(250);
    std::vector<Process> found;
    // The list is older than the states: a child may have come between. It is in the next one.
    bool stoodStill = false;
    for (bool isDone = false; !isDone && Clock::now() < end;) {
        const bool isStill = stopAll(except, found);
        isDone = isStill && stoodStill;
        stoodStill = isStill;
    }
    for (const Process& each : found) {
        signalProcess(each, SIGTERM);
    }
    // Children first: a job that stands still while its shell ends gets SIGHUP from the kernel.
    for (auto each = found.rbegin(); each != found.rend(); ++each) {
        signalProcess(*each, SIGCONT);
    }
}

void killDescendants() {
    for (const Process& each : descendants()) {
        signalProcess(each, SIGKILL);
    }
}

} // namespace kestrelnet::privileged
