// SPDX-License-Identifier: MIT
#include "privileged/Execute.h"

#include <unistd.h>

namespace kestrelnet::privileged {

const std::array<const char*, 2> rootsVariables{"PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin",
                                                "HOME=/var/root"};

void execute(const TrustedFile& /*program*/, const char* path, char* const* arguments,
             char* const* environment) {
    ::execve(path, arguments, environment);
}

} // namespace kestrelnet::privileged
