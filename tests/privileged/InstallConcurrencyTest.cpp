// SPDX-License-Identifier: MIT
// Installations that run at the same time: one waits for the other.
#include "tests/privileged/InstallTest.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

namespace fs = std::filesystem;

const std::string lock = std::string("/var/run/com.kestrelnetvpn.tunnel") + ".lock";

/// The lock of an installation that is running.
class HeldLock {
  public:
    HeldLock() : file_(::open(lock.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)) {
        EXPECT_EQ(::flock(file_, LOCK_EX | LOCK_NB), 0);
    }
    ~HeldLock() { ::close(file_); }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;

  private:
    int file_;
};

class InstallConcurrencyTest : public InstallTest {
  protected:
    static constexpr const char* busy =
        "another installation of the helper is running. Install again when it has ended";

    void SetUp() override {
        InstallTest::SetUp();
        write(systemClient, "a client");
    }

    static std::unique_ptr<UserProgram> startInstallation(const Environment& environment = {}) {
        return std::make_unique<UserProgram>("/bin/bash",
                                             UserProgram::Options{.arguments = {"bash", script},
                                                                  .environment = environment,
                                                                  .who = root});
    }

    static void expectSuccess(UserProgram& installation) {
        const std::string output = installation.output();
        EXPECT_EQ(installation.waitStatus(), 0) << output;
    }

    static bool isWaiting() {
        const auto all = rootWorld::processes();
        return std::any_of(all.begin(), all.end(), [](const auto& process) {
            return process.command.starts_with("flock ");
        });
    }
};

TEST_F(InstallConcurrencyTest, bothInstallationsSucceed) {
    for (int round = 0; round < 10; ++round) {
        if (round % 3 == 0) {
            fs::remove_all("/Library");
        }
        changeBundledHelper();
        const auto first = startInstallation();
        const auto second = startInstallation();
        expectSuccess(*first);
        expectSuccess(*second);
        expectInstalled("a client");
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

TEST_F(InstallConcurrencyTest, bothSucceedWhereverTheFirstIsWhenTheSecondStarts) {
    // bash calls a function before each command of the first installation. At one of them it waits
    // until the second one has ended or waits itself.
    constexpr const char* hooks = "/tmp/hooks";
    constexpr int mostCommands = 400;
    int number = 0;
    for (bool isPaused = true; isPaused; number += 4) {
        ASSERT_LT(number, mostCommands);
        fs::remove_all("/Library");
        fs::remove("/tmp/paused");
        fs::remove("/tmp/go");
        write(hooks, "count=0\n"
                     "before() {\n"
                     "    ((++count == " +
                         std::to_string(number) +
                         ")) || return 0\n"
                         "    : >/tmp/paused\n"
                         "    until [[ -e /tmp/go ]]; do sleep 0.01; done\n"
                         "}\n"
                         "set -T\n"
                         "trap before DEBUG\n");
        const auto first = startInstallation({{"BASH_ENV", hooks}});
        ASSERT_TRUE(
            waitFor([&first] { return fs::exists("/tmp/paused") || !isAlive(first->pid()); }));
        isPaused = number == 0 || fs::exists("/tmp/paused");
        const auto second = startInstallation();
        EXPECT_TRUE(waitFor([&second] { return isWaiting() || !isAlive(second->pid()); }));
        write("/tmp/go", "");
        expectSuccess(*first);
        expectSuccess(*second);
        expectInstalled("a client");
        ASSERT_FALSE(HasFailure()) << "before command " << number;
    }
    EXPECT_GT(number, 50);
}

TEST_F(InstallConcurrencyTest, doesNotWaitForEver) {
    const HeldLock held;
    // Shortens the wait.
    addStub("flock", R"([[ $* == "-w 30 9" ]] && exec /usr/bin/flock -w 0.1 9)");
    expectRefusal(run(), busy);
}

TEST_F(InstallConcurrencyTest, doesNotWaitForEverOnMacOS) {
    const HeldLock held;
    addStub("uname", "[[ $* == -s ]] && echo Darwin");
    addStub("stat", "echo 0");
    addStub("perl", R"([[ $# == 3 && $3 == 30 ]] && exec /usr/bin/perl "$1" "$2" 1)");
    expectRefusal(run(), busy);
}

TEST_F(InstallConcurrencyTest, anUpgradeByThePackageWaitsToo) {
    EXPECT_EQ(run().status, 0);
    const HeldLock held;
    addStub("flock", "exec /usr/bin/flock -w 0.1 9");
    const Outcome outcome = run({}, "upgrade");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "Kestrelnet: " + std::string(busy) + ".\n");
    expectInstalled("a client");
}

TEST_F(InstallConcurrencyTest, anotherUserCannotHoldTheLock) {
    EXPECT_EQ(run().status, 0);
    for (const int access : {O_RDONLY, O_WRONLY, O_RDWR}) {
        EXPECT_EQ(rootWorld::as(rootWorld::user,
                                [access] {
                                    return ::open(lock.c_str(), access | O_CLOEXEC) >= 0 ? 0
                                                                                         : errno;
                                }),
                  EACCES);
    }
}

TEST_F(InstallConcurrencyTest, whatAKilledInstallationLeavesRunningHoldsNoLock) {
    // The user can stop the process that reads the client.
    write(ownClient, "the user's client");
    write("/tmp/slow/cat", "#!/bin/sh\n[ $(id -u) != 0 ] || exec /usr/bin/tail -c +1 -- \"$2\"\n"
                           "echo >/tmp/slow/begun\nexec tail -f /dev/null\n");
    fs::permissions("/tmp/slow", static_cast<fs::perms>(01777));
    ASSERT_EQ(::mount("/tmp/slow/cat", "/usr/bin/cat", nullptr, MS_BIND, nullptr), 0);
    const auto first = startInstallation({{"PKEXEC_UID", std::to_string(rootWorld::user.uid)}});
    EXPECT_TRUE(waitFor([] { return fs::exists("/tmp/slow/begun"); }));
    ASSERT_EQ(::kill(first->pid(), SIGKILL), 0);
    EXPECT_EQ(first->waitStatus(), SIGKILL);
    ASSERT_EQ(::umount2("/usr/bin/cat", MNT_DETACH), 0);
    addStub("flock", "exec /usr/bin/flock -n 9");
    const Outcome next = runFor(rootWorld::user);
    EXPECT_EQ(next.status, 0) << next.errors;
    expectInstalled("the user's client");
    EXPECT_FALSE(rootWorld::processes().empty()) << "the first one's reader has ended";
    for (const auto& process : rootWorld::processes()) {
        ::kill(process.pid, SIGKILL);
    }
    EXPECT_TRUE(waitFor([] { return rootWorld::processes().empty(); }));
    fs::remove_all(rootWorld::user.home + "/.kestrelnet");
}

} // namespace
} // namespace kestrelnet
