// SPDX-License-Identifier: MIT
// Creates and removes a root world.
#include "tests/support/RootWorld.h"
#include "tests/support/Waiting.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <net/if.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

/// The folder in which the world is mounted. The mounts are visible only to this process and its
/// children.
const std::string site = "/mnt";
const std::string newRoot = site + "/root";
const std::string groups = site + "/groups";

[[noreturn]] void giveUp(const std::string& what) {
    std::fprintf(stderr, "the root world could not be created: %s: %s\n", what.c_str(),
                 std::strerror(errno));
    std::_Exit(1);
}

void check(bool done, const std::string& what) {
    if (!done) {
        giveUp(what);
    }
}

void mountAt(const std::string& target, const char* type, unsigned long flags = 0,
             const std::string& options = {}) {
    fs::create_directories(target);
    check(::mount(type, target.c_str(), type, flags, options.c_str()) == 0, "mount " + target);
}

void bindInto(const std::string& folder) {
    const std::string target = newRoot + folder;
    fs::create_directories(target);
    check(::mount(folder.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
          "bind " + target);
}

void bindReadOnly(const std::string& folder) {
    bindInto(folder);
    check(::mount(nullptr, (newRoot + folder).c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY,
                  nullptr) == 0,
          "seal " + folder);
}

/// The root file system under a writable layer that is removed with this world.
void layOutFiles() {
    mountAt(site + "/changes", "tmpfs", 0, "mode=0755");
    fs::create_directory(site + "/changes/upper");
    fs::create_directory(site + "/changes/work");
    mountAt(newRoot, "overlay", 0,
            "lowerdir=/,upperdir=" + site + "/changes/upper,workdir=" + site + "/changes/work");
    mountAt(newRoot + "/tmp", "tmpfs", 0, "mode=1777");
    mountAt(newRoot + "/run", "tmpfs", 0, "mode=0755");
    bindInto("/dev");
    bindInto("/sys");
    bindReadOnly(KESTRELNET_SOURCE_FOLDER);
    bindReadOnly(KESTRELNET_BUILD_FOLDER);
}

void enterFiles() {
    mountAt(newRoot + "/proc", "proc");
    // The kernel refuses a file system right on top of itself, and many systems have it here.
    mountAt(newRoot + "/sys/fs/cgroup", "tmpfs");
    mountAt(newRoot + "/sys/fs/cgroup", "cgroup2");
    const std::string old = newRoot + site;
    check(::syscall(SYS_pivot_root, newRoot.c_str(), old.c_str()) == 0, "pivot_root");
    check(::chdir("/") == 0, "chdir");
    check(::umount2(site.c_str(), MNT_DETACH) == 0, "umount");
}

void append(const char* file, const std::string& line) {
    std::ofstream stream(file, std::ios::app);
    stream << line << '\n';
    check(stream.flush().good(), file);
}

void addUser(const rootWorld::User& user) {
    const std::string uid = std::to_string(user.uid);
    const std::string gid = std::to_string(user.gid);
    append("/etc/passwd", user.name + ":x:" + uid + ':' + gid + "::" + user.home + ":/bin/bash");
    append("/etc/group", user.name + ":x:" + gid + ':');
    // The password is "right".
    append("/etc/shadow",
           user.name +
               ":$6$kestrelnet$XJNRyL1Q/"
               "yzS3HQEhU6D.wDSi.rJ59iWQptmVpzwt7zep5YoLzeCKkuoL9oIVYh6IWrIcI29wvXJpU0WgrOit1:"
               "19000:0:99999:7:::");
    fs::create_directories(user.home);
    check(::chown(user.home.c_str(), user.uid, user.gid) == 0, user.home);
}

/// Adds `user` to the group whose members are administrators for polkit.
void makeAdministrator(const rootWorld::User& user) {
    std::ifstream old("/etc/group");
    std::string changed;
    for (std::string line; std::getline(old, line);) {
        if (line.starts_with("sudo:")) {
            line += (line.ends_with(':') ? "" : ",") + user.name;
        }
        changed += line + '\n';
    }
    std::ofstream("/etc/group", std::ios::trunc) << changed;
}

void raiseLoopback() {
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request{};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP;
    check(::ioctl(descriptor, SIOCSIFFLAGS, &request) == 0, "loopback");
    ::close(descriptor);
}

int exitStatus(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Process 1 of the world.
[[noreturn]] void reapUntilEnd(pid_t tests) {
    for (;;) {
        int status = 0;
        if (::wait(&status) == tests) {
            std::_Exit(exitStatus(status));
        }
    }
}

/// Makes `group` the root of the control groups that are visible in the world.
void enterGroup(const std::string& group) {
    std::ofstream file(group + "/cgroup.procs");
    check(file && (file << "0" << std::flush), group);
    // A new mount namespace again, because pivot_root would also change the root of the waiting
    // process.
    check(::unshare(CLONE_NEWCGROUP | CLONE_NEWNS) == 0, "unshare");
}

[[noreturn]] void runInside(const std::string& group, const std::function<int()>& body) {
    check(::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0, "prctl");
    enterGroup(group);
    enterFiles();
    raiseLoopback();
    addUser(rootWorld::user);
    addUser(rootWorld::stranger);
    makeAdministrator(rootWorld::user);
    const pid_t tests = ::fork();
    check(tests >= 0, "fork");
    if (tests == 0) {
        // As on a real system, process 1, which adopts orphans, is in another session.
        ::setsid();
        std::exit(body());
    }
    reapUntilEnd(tests);
}

/// Creates a control group for all processes of the world.
std::string makeGroup() {
    mountAt(groups, "cgroup2");
    // A test that was killed leaves its group behind.
    std::string group = groups + "/kestrelnet-test-XXXXXX";
    check(::mkdtemp(group.data()) != nullptr && ::chmod(group.c_str(), 0755) == 0, group);
    return group;
}

void removeGroup(const std::string& group) {
    std::error_code ignored;
    std::vector<fs::path> folders{group};
    for (const auto& entry : fs::recursive_directory_iterator(group, ignored)) {
        if (entry.is_directory()) {
            folders.push_back(entry.path());
        }
    }
    // Innermost folders first.
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
        // It is busy until the kernel has removed its last process.
        if (!waitFor([&] { return ::rmdir(folder->c_str()) == 0 || errno != EBUSY; })) {
            std::fprintf(stderr, "%s is still busy\n", folder->c_str());
        }
    }
}

} // namespace

int rootWorld::enter(const std::function<int()>& body) {
    check(::unshare(CLONE_NEWNS) == 0, "unshare");
    check(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    mountAt(site, "tmpfs", 0, "mode=0755");
    const std::string group = makeGroup();
    check(::unshare(CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWIPC) == 0, "unshare");
    layOutFiles();
    const pid_t world = ::fork();
    check(world >= 0, "fork");
    if (world == 0) {
        runInside(group, body);
    }
    int status = 0;
    ::waitpid(world, &status, 0);
    removeGroup(group);
    return exitStatus(status);
}

} // namespace kestrelnet
