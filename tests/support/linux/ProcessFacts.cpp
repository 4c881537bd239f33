// SPDX-License-Identifier: MIT
#include "tests/support/ProcessFacts.h"

#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <sys/ioctl.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace kestrelnet {

namespace {

namespace fs = std::filesystem;

/// Larger than every identifier that Linux assigns.
constexpr int noProcess = std::numeric_limits<int>::max();

std::size_t entries(const char* folder) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

fs::path folderOf(int pid) {
    return "/proc/" + std::to_string(pid);
}

fs::path streamOf(int pid, int descriptor) {
    return folderOf(pid) / "fd" / std::to_string(descriptor);
}

/// The identifier of `process` in the innermost PID namespace that it belongs to.
int innermostIdentifier(const fs::path& process) {
    std::istringstream lines(readFile(process / "status"));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("NSpid:")) {
            return std::stoi(line.substr(line.find_last_of("\t ") + 1));
        }
    }
    return noProcess;
}

} // namespace

std::size_t openDescriptors() {
    return entries("/proc/self/fd");
}

std::size_t runningThreads() {
    // The thread sanitizer starts a thread together with the first one. Count it from the
    // beginning.
    [[maybe_unused]] static const bool first = (std::thread([] {}).join(), true);
    return entries("/proc/self/task");
}

std::size_t residentMemory() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

bool isAlive(int pid) {
    // "PID (NAME) STATE ..."; the name may contain any character.
    const std::string status = readFile(folderOf(pid) / "stat");
    const std::size_t name = status.rfind(") ");
    return name != std::string::npos && status[name + 2] != 'Z' && status[name + 2] != 'X';
}

std::string commandLine(int pid) {
    return readFile(folderOf(pid) / "cmdline");
}

std::string openFile(int pid, int descriptor) {
    std::error_code ignored;
    return fs::read_symlink(streamOf(pid, descriptor), ignored);
}

int unreadBytes(int pid, int descriptor) {
    const int pipe = ::open(streamOf(pid, descriptor).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    int unread = 0;
    ::ioctl(pipe, FIONREAD, &unread);
    ::close(pipe);
    return unread;
}

int identifierHere(int pid, const std::string& space) {
    std::error_code error;
    if (fs::read_symlink("/proc/self/ns/pid", error) == space) {
        return pid;
    }
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos &&
            fs::read_symlink(entry.path() / "ns/pid", error) == space &&
            innermostIdentifier(entry.path()) == pid) {
            return std::stoi(name);
        }
    }
    return noProcess;
}

} // namespace kestrelnet
