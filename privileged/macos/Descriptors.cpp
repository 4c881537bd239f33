// SPDX-License-Identifier: MIT
#include "privileged/Descriptors.h"

#include <libproc.h>
#include <optional>
#include <sys/proc_info.h>
#include <unistd.h>
#include <vector>

namespace kestrelnet::privileged {

namespace {

std::optional<pipe_info> pipeOf(int descriptor) {
    pipe_fdinfo info{};
    constexpr int size = sizeof info;
    if (::proc_pidfdinfo(::getpid(), descriptor, PROC_PIDFDPIPEINFO, &info, size) != size) {
        return std::nullopt;
    }
    return info.pipeinfo;
}

} // namespace

bool descriptors::closeFrom(int lowest) {
    constexpr int entrySize = sizeof(proc_fdinfo);
    const pid_t self = ::getpid();
    // The size of the table, which is at least what is used of it.
    const int most = ::proc_pidinfo(self, PROC_PIDLISTFDS, 0, nullptr, 0);
    if (most <= 0) {
        return false;
    }
    std::vector<proc_fdinfo> open(static_cast<std::size_t>(most / entrySize));
    const int size = ::proc_pidinfo(self, PROC_PIDLISTFDS, 0, open.data(), most);
    if (size <= 0) {
        return false;
    }
    open.resize(static_cast<std::size_t>(size / entrySize));
    for (const proc_fdinfo& entry : open) {
        if (entry.proc_fd >= lowest) {
            ::close(entry.proc_fd);
        }
    }
    return true;
}

bool descriptors::isPipe(int descriptor) {
    return pipeOf(descriptor).has_value();
}

bool descriptors::areSame(int one, int other) {
    const auto first = pipeOf(one);
    const auto second = pipeOf(other);
    return first && second && first->pipe_handle == second->pipe_handle;
}

} // namespace kestrelnet::privileged
