// SPDX-License-Identifier: MIT
// The installation reads the user's client as that user. The user controls such a process: another
// process of the user can stop it and duplicate its descriptors.
#include "tests/privileged/InstallTest.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr std::string_view payload = "#!/bin/sh\necho stolen\n";

/// Another process of the user. From its start on, it searches the user's processes for descriptors
/// of files that root owns and that are open for writing, and duplicates them. When it is told to
/// strike, it overwrites these files.
class Thief {
  public:
    Thief() {
        std::array<int, 2> orders{-1, -1};
        EXPECT_EQ(::pipe2(orders.data(), O_CLOEXEC), 0);
        process_ = ::fork();
        if (process_ == 0) {
            ::close(orders[1]);
            ::_exit(rootWorld::as(rootWorld::user, [&orders] { return steal(orders[0]); }));
        }
        ::close(orders[0]);
        order_ = orders[1];
    }
    /// Overwrites what was stolen; the number of files.
    int strike() {
        ::close(order_);
        int status = 0;
        ::waitpid(process_, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    static constexpr std::chrono::seconds longest{60};
    static constexpr std::size_t most = 50;
    static constexpr int descriptorsPerProcess = 16;

    static int steal(int order) {
        std::vector<int> stolen;
        const auto end = std::chrono::steady_clock::now() + longest;
        ::fcntl(order, F_SETFL, O_NONBLOCK);
        char ignored = 0;
        while (::read(order, &ignored, 1) != 0 && std::chrono::steady_clock::now() < end) {
            searchProcesses(stolen);
        }
        for (const int descriptor : stolen) {
            if (::pwrite(descriptor, payload.data(), payload.size(), 0) < 0 ||
                ::ftruncate(descriptor, payload.size()) != 0) {
                return 255;
            }
        }
        return static_cast<int>(stolen.size());
    }

    static void searchProcesses(std::vector<int>& stolen) {
        for (const auto& entry : fs::directory_iterator("/proc")) {
            const pid_t pid = std::atoi(entry.path().filename().c_str());
            struct stat status {};
            if (pid > 1 && pid != ::getpid() && ::stat(entry.path().c_str(), &status) == 0 &&
                status.st_uid == ::getuid()) {
                searchDescriptors(pid, stolen);
            }
        }
    }

    static void searchDescriptors(pid_t pid, std::vector<int>& stolen) {
        const int process = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
        if (process < 0 || ::kill(pid, SIGSTOP) != 0) {
            return;
        }
        for (int number = 0; number < descriptorsPerProcess && stolen.size() < most; ++number) {
            const int copy = static_cast<int>(::syscall(SYS_pidfd_getfd, process, number, 0));
            struct stat status {};
            if (copy >= 0 && ::fstat(copy, &status) == 0 && S_ISREG(status.st_mode) &&
                status.st_uid == 0 && (::fcntl(copy, F_GETFL) & O_ACCMODE) != O_RDONLY) {
                stolen.push_back(copy);
            } else {
                ::close(copy);
            }
        }
        ::kill(pid, SIGCONT);
        ::close(process);
    }

    pid_t process_ = -1;
    int order_ = -1;
};

class InstallTheftTest : public InstallTest {
  protected:
    /// Opens a script in place of cat that does the same for root.
    static inline const std::string unlessRoot =
        "#!/bin/sh\n[ $(id -u) != 0 ] || exec /usr/bin/cat.real \"$@\"\n";

    void TearDown() override {
        InstallTest::TearDown();
        fs::remove_all(rootWorld::user.home + "/.kestrelnet");
    }
};

TEST_F(InstallTheftTest, givesNoDescriptorOfRootsToTheUser) {
    constexpr int tries = 5;
    const std::string clientText(std::size_t{64} << 20, 'k');
    write(ownClient, clientText);
    for (int round = 0; round < tries; ++round) {
        Thief thief;
        const Outcome outcome = runFor(rootWorld::user);
        EXPECT_EQ(thief.strike(), 0);
        ASSERT_EQ(outcome.status, 0) << outcome.errors;
        ASSERT_TRUE(readFile(client) == clientText) << "changed after the installation";
    }
}

TEST_F(InstallTheftTest, startsTheUsersProcessesWithoutRootsDescriptors) {
    write(ownClient, "a client");
    // Programs that first list their descriptors.
    fs::create_directory("/tmp/lists");
    fs::permissions("/tmp/lists", static_cast<fs::perms>(01777));
    for (const char* name : {"test", "cat"}) {
        const std::string program = std::string("/usr/bin/") + name;
        fs::rename(program, program + ".real");
        write(program, "#!/bin/sh\n"
                       "[ $(id -u) = 0 ] || for file in /proc/$$/fd/*; do\n"
                       "    echo \"${file##*/} $(readlink $file)\"\n"
                       "done >>/tmp/lists/" +
                           std::string(name) + "\nexec " + program + ".real \"$@\"\n");
    }
    const int status =
        runAsRoot("bash -c 'cd /root; exec 7>/root/seven 15>/root/fifteen 300>/root/three-hundred; "
                  "PKEXEC_UID=" +
                  std::to_string(rootWorld::user.uid) + " exec /bin/bash " + script +
                  " </etc/shadow >/root/output 2>/root/errors'");
    for (const char* name : {"test", "cat"}) {
        const std::string program = std::string("/usr/bin/") + name;
        fs::rename(program + ".real", program);
        const std::string list = readFile(std::string("/tmp/lists/") + name);
        EXPECT_THAT(list, AllOf(HasSubstr("0 /dev/null\n"), HasSubstr("2 /dev/null\n"),
                                Not(HasSubstr("/root")), Not(HasSubstr("/etc")),
                                Not(HasSubstr("/Library")),
                                Not(HasSubstr("/usr/libexec/kestrelnet")), Not(HasSubstr(".lock"))))
            << name;
    }
    EXPECT_EQ(status, 0) << readFile("/root/errors");
    expectInstalled("a client");
}

TEST_F(InstallTheftTest, readsNoMoreThanAClientsGreatestSize) {
    // The user replaces the file by an endless one after it was tested.
    write(ownClient, "a client");
    fs::create_directory("/Library");
    ASSERT_EQ(::mount("tmpfs", "/Library", "tmpfs", 0, "mode=0755,size=300m"), 0);
    fs::rename("/usr/bin/cat", "/usr/bin/cat.real");
    write("/usr/bin/cat", unlessRoot + "exec /usr/bin/cat.real /dev/zero\n");
    const Outcome outcome = runFor(rootWorld::user);
    fs::rename("/usr/bin/cat.real", "/usr/bin/cat");
    expectRefusal(outcome, ownClient + " is larger than 256 MiB");
    ASSERT_EQ(::umount("/Library"), 0);
}

TEST_F(InstallTheftTest, refusesAClientThatCannotBeReadToItsEnd) {
    write(ownClient, "a client");
    fs::rename("/usr/bin/cat", "/usr/bin/cat.real");
    write("/usr/bin/cat", unlessRoot + "echo half of it\nexit 1\n");
    const Outcome outcome = runFor(rootWorld::user);
    fs::rename("/usr/bin/cat.real", "/usr/bin/cat");
    expectRefusal(outcome, ownClient + " could not be copied");
}

} // namespace
} // namespace kestrelnet
