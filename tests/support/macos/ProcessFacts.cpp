// SPDX-License-Identifier: MIT
#include "tests/support/ProcessFacts.h"

#include <array>
#include <libproc.h>
#include <string_view>
#include <sys/ioctl.h>
#include <sys/proc.h>
#include <sys/sysctl.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet {

namespace {

std::vector<proc_fdinfo> descriptorsOf(int pid) {
    // The system may have more than it says at first, but not more than it has room for.
    const int room = ::proc_pidinfo(pid, PROC_PIDLISTFDS, 0, nullptr, 0);
    std::vector<proc_fdinfo> descriptors(static_cast<std::size_t>(room) / sizeof(proc_fdinfo));
    const int size = ::proc_pidinfo(pid, PROC_PIDLISTFDS, 0, descriptors.data(),
                                    static_cast<int>(descriptors.size() * sizeof(proc_fdinfo)));
    descriptors.resize(static_cast<std::size_t>(size) / sizeof(proc_fdinfo));
    return descriptors;
}

proc_taskinfo task() {
    proc_taskinfo info{};
    ::proc_pidinfo(::getpid(), PROC_PIDTASKINFO, 0, &info, sizeof info);
    return info;
}

/// An end of a pipe. The fields are 0 if `descriptor` is not open or is no pipe.
pipe_info pipeOf(int pid, int descriptor) {
    pipe_fdinfo info{};
    ::proc_pidfdinfo(pid, descriptor, PROC_PIDFDPIPEINFO, &info, sizeof info);
    return info.pipeinfo;
}

} // namespace

std::size_t openDescriptors() {
    return descriptorsOf(::getpid()).size();
}

std::size_t runningThreads() {
    return static_cast<std::size_t>(task().pti_threadnum);
}

std::size_t residentMemory() {
    return task().pti_resident_size;
}

bool isAlive(int pid) {
    proc_bsdinfo info{};
    const int size = ::proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &info, sizeof info);
    return size == static_cast<int>(sizeof info) && info.pbi_status != SZOMB;
}

std::string commandLine(int pid) {
    std::array<int, 3> name{CTL_KERN, KERN_PROCARGS2, pid};
    std::size_t size = 0;
    ::sysctl(name.data(), name.size(), nullptr, &size, nullptr, 0);
    std::string text(size, '\0');
    if (::sysctl(name.data(), name.size(), text.data(), &size, nullptr, 0) != 0 ||
        size < sizeof(int)) {
        return {};
    }
    // The number of words, the path of the program, some NULs, the words, the environment.
    int words = 0;
    std::string_view(text).copy(reinterpret_cast<char*>(&words), sizeof words);
    const std::size_t first = text.find_first_not_of('\0', text.find('\0', sizeof words));
    std::size_t end = first;
    for (int word = 0; word < words && end < size; ++word) {
        end = text.find('\0', end) + 1;
    }
    return first < size ? text.substr(first, end - first) : std::string();
}

std::string openFile(int pid, int descriptor) {
    if (const std::uint64_t handle = pipeOf(pid, descriptor).pipe_handle) {
        return "pipe:" + std::to_string(handle);
    }
    vnode_fdinfowithpath info{};
    ::proc_pidfdinfo(pid, descriptor, PROC_PIDFDVNODEPATHINFO, &info, sizeof info);
    return info.pvip.vip_path;
}

int unreadBytes(int pid, int descriptor) {
    // Only who has the reading end can ask. In the tests that is this process.
    const std::uint64_t reading = pipeOf(pid, descriptor).pipe_peerhandle;
    int unread = 0;
    for (const proc_fdinfo& own : descriptorsOf(::getpid())) {
        if (reading != 0 && pipeOf(::getpid(), own.proc_fd).pipe_handle == reading) {
            ::ioctl(own.proc_fd, FIONREAD, &unread);
        }
    }
    return unread;
}

int identifierHere(int pid, const std::string& /*space*/) {
    return pid;
}

} // namespace kestrelnet
