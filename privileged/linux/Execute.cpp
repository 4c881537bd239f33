// SPDX-License-Identifier: MIT
#include "privileged/Execute.h"

#include <array>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// An interpreter opens its script as /dev/fd/N, after the exec: N must stay open.
void keepForInterpreter(int descriptor) {
    std::array<char, 2> start{};
    if (::pread(descriptor, start.data(), start.size(), 0) == 2 &&
        std::string_view(start.data(), start.size()) == "#!") {
        ::fcntl(descriptor, F_SETFD, 0);
    }
}

} // namespace

void execute(const TrustedFile& program, const char* /*path*/, char* const* arguments,
             char* const* environment) {
    keepForInterpreter(program.descriptor);
    ::execveat(program.descriptor, "", arguments, environment, AT_EMPTY_PATH);
}

} // namespace kestrelnet::privileged
