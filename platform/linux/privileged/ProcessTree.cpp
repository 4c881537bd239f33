// SPDX-License-Identifier: MIT
#include "platform/linux/privileged/ProcessTree.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet::privileged {

namespace {

struct Entry {
    pid_t pid;
    pid_t parent;
};

/// The number at the start of `text`; 0 when there is none.
pid_t leadingNumber(const char* text) {
    return static_cast<pid_t>(std::strtol(text, nullptr, 10));
}

/// The parent of `pid`; 0 when there is no such process.
pid_t parentOf(pid_t pid) {
    std::array<char, 32> path{};
    std::array<char, 512> text{};
    std::snprintf(path.data(), path.size(), "/proc/%d/stat", pid);
    const int file = ::open(path.data(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return 0;
    }
    const ssize_t size = ::read(file, text.data(), text.size() - 1);
    ::close(file);
    // "PID (NAME) STATE PARENT ..."; the name may hold anything.
    const char* const name = size > 0 ? std::strrchr(text.data(), ')') : nullptr;
    return name != nullptr && std::strlen(name) > 4 ? leadingNumber(name + 4) : 0;
}

std::vector<Entry> everyProcess() {
    std::vector<Entry> found;
    DIR* const folder = ::opendir("/proc");
    if (folder == nullptr) {
        return found;
    }
    while (const dirent* entry = ::readdir(folder)) {
        if (const pid_t pid = leadingNumber(entry->d_name); pid > 0) {
            found.push_back({pid, parentOf(pid)});
        }
    }
    ::closedir(folder);
    return found;
}

/// Those below `root`, parents before their children.
std::vector<Entry> descendantsOf(pid_t root) {
    const std::vector<Entry> all = everyProcess();
    std::vector<Entry> found;
    std::vector<pid_t> parents{root};
    for (std::size_t next = 0; next < parents.size(); ++next) {
        for (const Entry& entry : all) {
            if (entry.parent == parents[next]) {
                found.push_back(entry);
                parents.push_back(entry.pid);
            }
        }
    }
    return found;
}

/// The descriptor stands for one process for good. The parent, asked again after it was opened,
/// shows that this is still the one that was found; an orphan has become this process's own child.
void signalProcess(const Entry& entry, int signal) {
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, entry.pid, 0));
    if (process < 0) {
        return;
    }
    const pid_t parent = parentOf(entry.pid);
    if (parent == entry.parent || parent == ::getpid()) {
        ::syscall(SYS_pidfd_send_signal, process, signal, nullptr, 0);
    }
    ::close(process);
}

} // namespace

void signalDescendants(int signal, pid_t except) {
    for (const Entry& entry : descendantsOf(::getpid())) {
        if (entry.pid != except) {
            signalProcess(entry, signal);
        }
    }
}

} // namespace kestrelnet::privileged
