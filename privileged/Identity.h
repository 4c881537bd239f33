// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <sys/types.h>

namespace kestrelnet::privileged {

/// PATH and HOME of root, as "NAME=VALUE" entries.
extern const std::array<const char*, 2> rootsVariables;

// These functions return null, or a phrase that says what failed. The process must have root's
// rights and one thread.

/// Sets user and group to root (real, effective and saved), drops all other groups, and leaves the
/// session keyring of the caller where the system has one.
const char* becomeRoot();

/// Gives root's rights up for good, for `user` and `group`; root's are kept where the user is root.
/// Closes the process to tracing: its user may only signal it. Keeps other groups.
const char* becomeUser(uid_t user, gid_t group);

/// Why a program with the set-user-ID bit has not got root's rights, and what to do: a phrase for a
/// message.
const char* reasonForNoRights();

} // namespace kestrelnet::privileged
