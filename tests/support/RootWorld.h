// SPDX-License-Identifier: MIT
// A small world of a test's own, in which it is root and may change anything: the machine's files
// below an overlay that is thrown away, its own processes and mounts, and ordinary users.
//
// The tests of a program linked with kestrelnet_root_test_main run there. Without root they are
// skipped. Process 1 only reaps orphans.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <sys/types.h>
#include <vector>

namespace kestrelnet::rootWorld {

/// Makes a world, runs `body` in it as root, in a process of its own, and takes it away with all
/// that still runs there. Returns what `body` does, or 128 and the number of the signal that ended
/// it. By a root process of one thread.
int enter(const std::function<int()>& body);

struct User {
    std::string name;
    uid_t uid;
    gid_t gid;
    std::string home;
};

/// The ordinary user, who is an administrator with the password "right".
extern const User user;
/// Another one, who is not.
extern const User stranger;

/// The product's place in this world, as a package would choose it.
extern const std::string bundle;

/// Copies the build tree's bundle there, without the demonstration client.
void installBundle();
/// Copies the program or script at `path` into `folder`, made where needed, for everyone to run;
/// its path there.
std::string install(const std::string& path, const std::string& folder);

/// Runs `body` in a child process that is `who` and nothing more; its exit status, or 128 and the
/// signal that ended it. What is written there to standard error is seen; test assertions are not.
int as(const User& who, const std::function<int()>& body);

/// Takes `who` out of the group of administrators.
void removeAdministrator(const User& who);

struct Survivor {
    pid_t pid;
    uid_t uid;
    char state;
    std::string command;
};

/// Every process of this world but process 1 and the test itself.
std::vector<Survivor> processes();
void PrintTo(const Survivor& survivor, std::ostream* out);

} // namespace kestrelnet::rootWorld
