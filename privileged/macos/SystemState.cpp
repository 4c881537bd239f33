// SPDX-License-Identifier: MIT
#include "privileged/SystemState.h"

#include <array>

namespace kestrelnet::privileged::systemState {

namespace {

constexpr rlim_t none = RLIM_INFINITY;
constexpr rlim_t kibi = 1024;

constexpr std::array limitsOfRun{
    Limit{RLIMIT_AS, none, none},
    Limit{RLIMIT_CORE, 0, 0},
    Limit{RLIMIT_CPU, none, none},
    Limit{RLIMIT_DATA, none, none},
    Limit{RLIMIT_FSIZE, none, none},
    Limit{RLIMIT_MEMLOCK, none, none},
    Limit{RLIMIT_NOFILE, kibi, 4 * kibi},
    Limit{RLIMIT_NPROC, none, none},
    Limit{RLIMIT_STACK, 8 * kibi* kibi, none},
};

} // namespace

std::span<const Limit> limits() {
    return limitsOfRun;
}

const char* reset() {
    // A process in the background gets little of the processors, the disk and the network.
    if (::setpriority(PRIO_DARWIN_PROCESS, 0, 0) != 0) {
        return "the background state could not be reset";
    }
    if (::setiopolicy_np(IOPOL_TYPE_DISK, IOPOL_SCOPE_PROCESS, IOPOL_DEFAULT) != 0) {
        return "the I/O policy could not be reset";
    }
    return nullptr;
}

} // namespace kestrelnet::privileged::systemState
