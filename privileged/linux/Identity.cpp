// SPDX-License-Identifier: MIT
#include "privileged/Identity.h"

#include <cerrno>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

bool joinNewKeyring() {
    constexpr int joinSessionKeyring = 1;
    // A kernel without keyrings has no keyring of the caller's.
    return ::syscall(SYS_keyctl, joinSessionKeyring, nullptr) >= 0 || errno == ENOSYS;
}

} // namespace

const std::array<const char*, 2> rootsVariables{
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "HOME=/root"};

const char* becomeRoot() {
    if (::setgroups(0, nullptr) != 0 || ::setresgid(0, 0, 0) != 0 || ::setresuid(0, 0, 0) != 0) {
        return "root's rights could not be taken in full";
    }
    if (!joinNewKeyring()) {
        return "the session keyring could not be replaced";
    }
    return nullptr;
}

const char* becomeUser(uid_t user, gid_t group) {
    const bool isUser = ::setresgid(group, group, group) == 0 &&
                        ::setresuid(user, user, user) == 0 && (user == 0 || ::seteuid(0) != 0);
    return isUser && ::prctl(PR_SET_DUMPABLE, 0) == 0 ? nullptr
                                                      : "root's rights could not be given up";
}

const char* reasonForNoRights() {
    return ::prctl(PR_GET_NO_NEW_PRIVS, 0, 0, 0, 0) == 1
               ? "what started it runs with \"no new privileges\"; start it otherwise"
               : "its file lacks the set-user-ID bit or lies on a file system mounted with "
                 "\"nosuid\"; install it again, or elsewhere";
}

} // namespace kestrelnet::privileged
