// SPDX-License-Identifier: MIT
// A client that begins with writing the time, as a timespec, to one of its standard streams, which
// is a pipe of the measuring program. It is linked without the C library's start-up code, so that
// nothing runs before.

#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

// The name is the linker's.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming)
extern "C" [[noreturn]] void _start() {
    timespec time;
    ::syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    ::syscall(SYS_write, KESTRELNET_TIME_STREAM, &time, sizeof time);
    for (;;) {
        ::syscall(SYS_exit_group, 0);
    }
}
