// SPDX-License-Identifier: MIT
#include "privileged/Identity.h"

#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

/// With root's rights, setgid() and setuid() set the real, the effective and the saved identifier.
bool become(uid_t user, gid_t group) {
    return ::setgid(group) == 0 && ::setuid(user) == 0 && ::getgid() == group &&
           ::getegid() == group && ::getuid() == user && ::geteuid() == user;
}

} // namespace

const std::array<const char*, 2> rootsVariables{"PATH=/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin",
                                                "HOME=/var/root"};

const char* becomeRoot() {
    // Here the first of a process's groups is its effective group: a list has at least one.
    constexpr gid_t group = 0;
    return ::setgroups(1, &group) == 0 && become(0, group)
               ? nullptr
               : "root's rights could not be taken in full";
}

const char* becomeUser(uid_t user, gid_t group) {
    // The kernel closes a process that has had other rights to tracing.
    return become(user, group) && (user == 0 || ::seteuid(0) != 0)
               ? nullptr
               : "root's rights could not be given up";
}

const char* reasonForNoRights() {
    return "its file lacks the set-user-ID bit or lies on a volume mounted with \"nosuid\"; "
           "install "
           "it again, or elsewhere";
}

} // namespace kestrelnet::privileged
