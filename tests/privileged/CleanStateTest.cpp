// SPDX-License-Identifier: MIT
// Each function by itself. HelperSurroundingsTest.cpp tests the whole helper.
#include "privileged/CleanState.h"

#include "privileged/Identity.h"
#include "tests/privileged/HelperTest.h"
#include "tests/support/ProcessFacts.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

/// Counts the failed expectations of a child process and prints them on standard error.
class Findings {
  public:
    void expect(bool holds, const char* what) {
        if (!holds) {
            ::dprintf(STDERR_FILENO, "not so: %s\n", what);
            ++wrong_;
        }
    }
    int wrong() const { return wrong_; }

  private:
    int wrong_ = 0;
};

/// Runs `body` in a child that is root. Returns the number of failed expectations.
int inChild(const std::function<void(Findings&)>& body) {
    return rootWorld::as(root, [&] {
        Findings findings;
        body(findings);
        return findings.wrong();
    });
}

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

TEST(CleanStateTest, missingStandardStreamsAreOpened) {
    const int wrong = inChild([](Findings& findings) {
        const int report = ::fcntl(STDERR_FILENO, F_DUPFD, 10);
        for (int missing = 1; missing < 8; ++missing) {
            for (int stream = 0; stream <= 2; ++stream) {
                if ((missing & (1 << stream)) != 0) {
                    ::close(stream);
                } else {
                    ::dup2(report, stream);
                }
            }
            const int spare = ::fcntl(report, F_DUPFD, 10);
            const bool done = privileged::cleanDescriptors() == nullptr;
            const bool closed = !isOpen(report) && !isOpen(spare);
            const bool opened = isOpen(0) && isOpen(1) && isOpen(2);
            findings.expect(done && closed && opened, "three streams and nothing else");
            const bool writable = ::write(1, "", 0) == 0 && ::write(2, "", 0) == 0;
            findings.expect(writable, "output can be written");
            ::dup2(missing & 4 ? 1 : 2, report);
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST(CleanStateTest, otherDescriptorsAreClosed) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  const int first = ::open("/", O_RDONLY);
                  for (const int descriptor : {40, 500, 900}) {
                      findings.expect(::dup2(first, descriptor) == descriptor, "a descriptor");
                  }
                  findings.expect(privileged::cleanDescriptors() == nullptr, "done");
                  findings.expect(openDescriptors() == 4, "three, and the one to count with");
              }),
              0);
}

TEST(CleanStateTest, descriptorsAreCleanedWithADescriptorLimitOfZero) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  constexpr rlimit nothing{};
                  ::setrlimit(RLIMIT_NOFILE, &nothing);
                  findings.expect(privileged::cleanDescriptors() == nullptr, "done");
              }),
              0);
}

TEST(CleanStateTest, signalsAreDefaultAndUnblocked) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  sigset_t mask;
                  ::sigfillset(&mask);
                  ::sigprocmask(SIG_SETMASK, &mask, nullptr);
                  for (int signal = 1; signal < NSIG; ++signal) {
                      ::signal(signal, SIG_IGN);
                  }
                  findings.expect(privileged::cleanSurroundings() == nullptr, "done");
                  ::sigprocmask(SIG_SETMASK, nullptr, &mask);
                  findings.expect(::sigisemptyset(&mask) != 0, "no signal is blocked");
                  for (int signal = 1; signal < NSIG; ++signal) {
                      struct sigaction action {};
                      findings.expect(::sigaction(signal, nullptr, &action) != 0 ||
                                          action.sa_handler == SIG_DFL,
                                      "the signal is default");
                  }
              }),
              0);
}

TEST(CleanStateTest, timersAreStopped) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  constexpr itimerval hour{.it_interval = {3600, 0}, .it_value = {3600, 0}};
                  constexpr std::array timers{ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF};
                  for (const auto timer : timers) {
                      ::setitimer(timer, &hour, nullptr);
                  }
                  findings.expect(privileged::cleanSurroundings() == nullptr, "done");
                  for (const auto timer : timers) {
                      itimerval left{};
                      ::getitimer(timer, &left);
                      findings.expect(left.it_value.tv_sec == 0 && left.it_value.tv_usec == 0 &&
                                          left.it_interval.tv_sec == 0,
                                      "the timer is stopped");
                  }
              }),
              0);
}

TEST(CleanStateTest, everyLimitIsReset) {
    constexpr rlim_t none = RLIM_INFINITY;
    constexpr rlim_t eightMebi = rlim_t{8} << 20U;
    const auto check = [](Findings& findings, __rlimit_resource_t resource, rlim_t soft,
                          rlim_t hard) {
        const rlimit expected = raised(resource, soft, hard);
        const rlimit tiny = lowered(resource, 0);
        findings.expect(::setrlimit(resource, &tiny) == 0, "a tiny limit");
        findings.expect(privileged::cleanSurroundings() == nullptr, "done");
        rlimit found{};
        ::getrlimit(resource, &found);
        findings.expect(found.rlim_cur == expected.rlim_cur && found.rlim_max == expected.rlim_max,
                        "limit");
    };
    EXPECT_EQ(inChild([&check](Findings& findings) {
                  check(findings, RLIMIT_CORE, 0, 0);
                  check(findings, RLIMIT_FSIZE, none, none);
                  check(findings, RLIMIT_LOCKS, none, none);
                  check(findings, RLIMIT_MEMLOCK, eightMebi, eightMebi);
                  check(findings, RLIMIT_NOFILE, 1024, 4096);
                  check(findings, RLIMIT_NPROC, none, none);
                  check(findings, RLIMIT_RSS, none, none);
                  check(findings, RLIMIT_SIGPENDING, none, none);
              }),
              0);
}

TEST(CleanStateTest, priorityMaskFolderAndPersonalityAreReset) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  ::umask(0777);
                  findings.expect(::chdir("/tmp") == 0, "a folder");
                  ::setpriority(PRIO_PROCESS, 0, 19);
                  const sched_param ordinary{};
                  ::sched_setscheduler(0, SCHED_IDLE, &ordinary);
                  ::personality(ADDR_NO_RANDOMIZE | ADDR_COMPAT_LAYOUT);
                  ::prctl(PR_SET_DUMPABLE, 1);
                  findings.expect(privileged::cleanSurroundings() == nullptr, "done");
                  findings.expect(::umask(0) == 022, "mask");
                  std::array<char, 16> folder{};
                  findings.expect(::getcwd(folder.data(), folder.size()) != nullptr &&
                                      std::string_view(folder.data()) == "/",
                                  "folder");
                  findings.expect(::getpriority(PRIO_PROCESS, 0) == 0, "nice value");
                  findings.expect(::sched_getscheduler(0) == SCHED_OTHER, "scheduler");
                  findings.expect(::personality(0xFFFFFFFF) == PER_LINUX, "personality");
                  findings.expect(::prctl(PR_GET_DUMPABLE) == 0, "closed to tracing");
              }),
              0);
}

TEST(CleanStateTest, schedulingIsReset) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  constexpr unsigned long thousandSeconds = 1'000'000'000'000;
                  constexpr int idleClass = 3 << 13;
                  cpu_set_t before;
                  ::sched_getaffinity(0, sizeof before, &before);
                  cpu_set_t first;
                  CPU_ZERO(&first);
                  CPU_SET(0, &first);
                  findings.expect(::prctl(PR_SET_TIMERSLACK, thousandSeconds) == 0 &&
                                      ::sched_setaffinity(0, sizeof first, &first) == 0 &&
                                      ::syscall(SYS_ioprio_set, 1, 0, idleClass) == 0,
                                  "set");
                  findings.expect(privileged::cleanSurroundings() == nullptr, "done");
                  cpu_set_t after;
                  ::sched_getaffinity(0, sizeof after, &after);
                  findings.expect(CPU_EQUAL(&before, &after), "processors");
                  findings.expect(::syscall(SYS_ioprio_get, 1, 0) >> 13 != 3, "I/O class");
                  findings.expect(::prctl(PR_GET_TIMERSLACK) == 50'000, "timer slack");
              }),
              0);
}

TEST(CleanStateTest, memorySettingsAreReset) {
    EXPECT_EQ(
        inChild([](Findings& findings) {
            constexpr int interleave = 3;
            unsigned long firstNode = 1;
            const bool hasNodes = ::syscall(SYS_set_mempolicy, interleave, &firstNode, 8) == 0;
            findings.expect(hasNodes || errno == ENOSYS, "memory policy set");
            findings.expect(::prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0) == 0 || errno == EINVAL,
                            "huge pages disabled");
            ::prctl(PR_MCE_KILL, PR_MCE_KILL_SET, PR_MCE_KILL_EARLY, 0, 0);
            const int filter = ::open("/proc/self/coredump_filter", O_WRONLY);
            findings.expect(::write(filter, "0x0", 3) == 3, "core filter set");
            findings.expect(privileged::cleanSurroundings() == nullptr, "done");
            int policy = 0;
            if (hasNodes) {
                ::syscall(SYS_get_mempolicy, &policy, nullptr, 0, nullptr, 0);
            }
            findings.expect(policy == 0, "memory policy");
            findings.expect(::prctl(PR_GET_THP_DISABLE, 0, 0, 0, 0) <= 0, "huge pages");
            findings.expect(::prctl(PR_MCE_KILL_GET, 0, 0, 0, 0) != PR_MCE_KILL_EARLY,
                            "memory errors");
            findings.expect(readFile("/proc/self/coredump_filter") == "00000033\n", "core filter");
        }),
        0);
}

TEST(CleanStateTest, theTimeStampCounterIsReadable) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  const bool hasSetting = ::prctl(PR_SET_TSC, PR_TSC_SIGSEGV) == 0;
                  findings.expect(hasSetting || errno == EINVAL, "set");
                  findings.expect(privileged::cleanSurroundings() == nullptr, "done");
                  int mode = PR_TSC_ENABLE;
                  findings.expect(!hasSetting || ::prctl(PR_GET_TSC, &mode) == 0, "asked");
                  findings.expect(mode == PR_TSC_ENABLE, "readable");
              }),
              0);
}

TEST(CleanStateTest, theSessionKeyringIsANewOne) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  constexpr int getKeyring = 0;
                  constexpr int joinSession = 1;
                  constexpr int session = -3;
                  const long before = ::syscall(SYS_keyctl, joinSession, "callers");
                  findings.expect(before >= 0 || errno == ENOSYS, "joined");
                  findings.expect(privileged::becomeRoot() == nullptr, "done");
                  findings.expect(before < 0 ||
                                      ::syscall(SYS_keyctl, getKeyring, session, 0) != before,
                                  "another keyring");
              }),
              0);
}

TEST(CleanStateTest, allUserAndGroupIdentifiersAreRoots) {
    EXPECT_EQ(inChild([](Findings& findings) {
                  const std::array<gid_t, 2> groups{rootWorld::user.gid, 27};
                  ::setgroups(groups.size(), groups.data());
                  findings.expect(::setresgid(4711, 4712, 4713) == 0, "groups");
                  // The state of a set-user-ID program at its start.
                  findings.expect(::setresuid(4711, 0, 0) == 0, "users");
                  findings.expect(privileged::becomeRoot() == nullptr, "done");
                  uid_t real = 1;
                  uid_t effective = 1;
                  uid_t saved = 1;
                  ::getresuid(&real, &effective, &saved);
                  findings.expect(real == 0 && effective == 0 && saved == 0, "user");
                  ::getresgid(&real, &effective, &saved);
                  findings.expect(real == 0 && effective == 0 && saved == 0, "group");
                  findings.expect(::getgroups(0, nullptr) == 0, "no further group");
              }),
              0);
}

TEST(CleanStateTest, becomingRootFailsWithoutRights) {
    EXPECT_EQ(rootWorld::as(rootWorld::user,
                            [] {
                                Findings findings;
                                const char* const problem = privileged::becomeRoot();
                                findings.expect(problem != nullptr &&
                                                    std::string_view(problem) ==
                                                        "root's rights could not be taken in full",
                                                "refused");
                                return findings.wrong();
                            }),
              0);
}

} // namespace
} // namespace kestrelnet
