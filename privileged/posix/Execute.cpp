// SPDX-License-Identifier: MIT
#include "privileged/Execute.h"

#include <unistd.h>

namespace kestrelnet::privileged {

void execute(const TrustedFile& /*program*/, const char* path, char* const* arguments,
             char* const* environment) {
    ::execve(path, arguments, environment);
}

} // namespace kestrelnet::privileged
