// SPDX-License-Identifier: MIT
// A library that a user tries to load into a root program. It creates a file when it is loaded.
#include <fcntl.h>

namespace {

[[gnu::constructor]] void leaveMark() {
    static_cast<void>(::open("/tmp/hostile/marks/library", O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
}

} // namespace
