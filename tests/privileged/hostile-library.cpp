// SPDX-License-Identifier: MIT
// A library that a user may try to smuggle into a program of root's. It leaves a mark when it gets
// in.
#include <fcntl.h>

namespace {

[[gnu::constructor]] void leaveMark() {
    static_cast<void>(::open("/tmp/hostile/marks/library", O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
}

} // namespace
