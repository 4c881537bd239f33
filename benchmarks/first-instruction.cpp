// SPDX-License-Identifier: MIT
// A client whose first instruction writes the time, as a timespec, to one of its standard streams,
// where the measuring program has put a pipe. Linked without the C library's start-up, so that
// nothing of its own comes before.

#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the linker's name.
extern "C" [[noreturn]] void _start() {
    timespec time;
    ::syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
    ::syscall(SYS_write, KESTRELNET_TIME_STREAM, &time, sizeof time);
    for (;;) {
        ::syscall(SYS_exit_group, 0);
    }
}
