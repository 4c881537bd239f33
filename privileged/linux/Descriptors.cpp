// SPDX-License-Identifier: MIT
#include "privileged/Descriptors.h"

#include <fcntl.h>
#include <linux/kcmp.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet::privileged {

bool descriptors::closeFrom(int lowest) {
    return ::close_range(static_cast<unsigned>(lowest), ~0U, 0) == 0;
}

bool descriptors::isPipe(int descriptor) {
    return ::fcntl(descriptor, F_GETPIPE_SZ) >= 0;
}

bool descriptors::areSame(int one, int other) {
    const pid_t self = ::getpid();
    return ::syscall(SYS_kcmp, self, self, KCMP_FILE, one, other) == 0;
}

} // namespace kestrelnet::privileged
