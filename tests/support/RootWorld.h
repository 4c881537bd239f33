// SPDX-License-Identifier: MIT
// A root world: namespaces in which a test is root and may change anything. The machine's files are
// under a temporary overlay; processes, mounts, network and ordinary users are separate.
//
// The tests of a program that links kestrelnet_root_test_main run in a root world. Without root
// they are skipped. Process 1 of the world only reaps orphans.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kestrelnet::rootWorld {

/// Creates a root world, runs `body` in a child process there, and removes the world with all its
/// processes. Returns the result of `body`, or 128 plus the signal that ended it. The calling
/// process must be root and have one thread.
int enter(const std::function<int()>& body);

struct User {
    std::string name;
    uid_t uid;
    gid_t gid;
    std::string home;
};

/// An ordinary user. polkit accepts the user as an administrator; the password is "right".
extern const User user;
/// An ordinary user who is not an administrator.
extern const User stranger;

/// The path of the product's bundle, the same as in a package.
extern const std::string bundle;

/// Copies the bundle of the build tree to `bundle`, without the demonstration client.
void installBundle();
/// Copies the program or script at `path` into `folder`, which is created if needed, executable for
/// everyone. Returns the path of the copy.
std::string install(const std::string& path, const std::string& folder);

/// Gives this process the groups and ids of `who`; returns whether that succeeded.
bool become(const User& who);

/// Runs `body` in a child process with the groups and ids of `who`. Returns its exit status, or 128
/// plus the signal that ended it. Test assertions inside `body` have no effect.
int as(const User& who, const std::function<int()>& body);

/// Sends `signal` to every process that `who` may signal.
void signalProcesses(const User& who, int signal);

/// Removes `who` from the group of administrators.
void removeAdministrator(const User& who);

struct Survivor {
    pid_t pid;
    uid_t uid;
    char state;
    std::string command;
};

/// Every process of this world except process 1 and the calling process.
std::vector<Survivor> processes();
void PrintTo(const Survivor& survivor, std::ostream* out);

} // namespace kestrelnet::rootWorld
