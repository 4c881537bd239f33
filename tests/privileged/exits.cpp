// SPDX-License-Identifier: MIT
// Exits at once with its own status, which tells a test which program has run.
#include <sys/syscall.h>
#include <unistd.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the linker's name.
extern "C" [[noreturn]] void _start() {
    for (;;) {
        ::syscall(SYS_exit_group, KESTRELNET_STATUS);
    }
}
