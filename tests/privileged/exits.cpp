// SPDX-License-Identifier: MIT
// Ends with one status at once, so that a test sees which of several programs was run.
#include <sys/syscall.h>
#include <unistd.h>

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the linker's name.
extern "C" [[noreturn]] void _start() {
    for (;;) {
        ::syscall(SYS_exit_group, KESTRELNET_STATUS);
    }
}
