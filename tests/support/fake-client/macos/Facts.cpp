// SPDX-License-Identifier: MIT
#include "tests/support/fake-client/Facts.h"

#include <libproc.h>

namespace fakeClient {

std::string processSpace() {
    // There is only one.
    return "system";
}

std::string programPath() {
    std::array<char, PROC_PIDPATHINFO_MAXSIZE> path{};
    proc_pidpath(getpid(), path.data(), path.size());
    return path.data();
}

std::array<uid_t, 3> users() {
    proc_bsdinfo info{};
    proc_pidinfo(getpid(), PROC_PIDTBSDINFO, 0, &info, sizeof info);
    return {info.pbi_ruid, info.pbi_uid, info.pbi_svuid};
}

} // namespace fakeClient
