// SPDX-License-Identifier: MIT
// The process state that the client starts with: rights, descriptors, signals, limits.
#include "tests/privileged/HelperTest.h"

#include <array>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <signal.h>
#include <sstream>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

/// Field `index` of /proc/PID/stat, where the state is field 0.
long field(pid_t pid, int index) {
    const std::string all = readFile("/proc/" + std::to_string(pid) + "/stat");
    std::istringstream fields(all.substr(all.rfind(") ") + 4));
    long value = 0;
    for (int at = 1; at <= index; ++at) {
        fields >> value;
    }
    return value;
}

std::string streamOf(pid_t pid, int stream) {
    return fs::read_symlink("/proc/" + std::to_string(pid) + "/fd/" + std::to_string(stream));
}

class HelperSurroundingsTest : public HelperTest,
                               public testing::WithParamInterface<std::string_view> {
  protected:
    FakeClient& startClient(const Options& options = {}) {
        FakeClient& client =
            GetParam() == "program" ? installClient("script") : installScriptClient("script");
        start(client, options);
        return client;
    }
};

INSTANTIATE_TEST_SUITE_P(Clients, HelperSurroundingsTest, testing::Values("program", "script"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_P(HelperSurroundingsTest, allIdentifiersOfTheClientAreRoots) {
    const pid_t client = *startClient().pid();
    EXPECT_EQ(processLine(client, "status", "Uid:"), "0\t0\t0\t0");
    EXPECT_EQ(processLine(client, "status", "Gid:"), "0\t0\t0\t0");
    EXPECT_EQ(processLine(client, "status", "Groups:"), "");
}

TEST_P(HelperSurroundingsTest, theFrontHasTheUsersRightsOnly) {
    startClient();
    const std::string id = std::to_string(rootWorld::user.uid);
    const std::string four = id + '\t' + id + '\t' + id + '\t' + id;
    EXPECT_EQ(processLine(program->pid(), "status", "Uid:"), four);
    EXPECT_EQ(processLine(program->pid(), "status", "Gid:"), four);
    EXPECT_EQ(processLine(program->pid(), "status", "CapPrm:"), "0000000000000000");
}

TEST_P(HelperSurroundingsTest, theClientHasItsNameAsItsOnlyArgument) {
    installClientText("#!/bin/sh\nprintf '%s\\n' $# \"$0\"\n");
    program = std::make_unique<UserProgram>(helperPath);
    // The interpreter reads the script from the descriptor that was checked.
    EXPECT_THAT(program->output(), testing::StartsWith("0\n/dev/fd/"));
    const FakeClient& client = installClient("script");
    start(client);
    EXPECT_THAT(client.found("argument"), ElementsAre(clientPath));
}

TEST_P(HelperSurroundingsTest, theClientHasNoOtherDescriptors) {
    const FakeClient& client = startClient({.prepare = [] {
        for (const int descriptor : {STDIN_FILENO, 3, 4, 17, 200, 1000}) {
            ::dup2(STDOUT_FILENO, descriptor);
        }
    }});
    auto expected = std::vector<std::string>{"0", "1", "2"};
    const auto found = client.found("descriptor");
    ASSERT_GE(found.size(), 3U);
    if (GetParam() == "script") {
        // The shell that executed this client has the script open too.
        const std::string script = found.size() > 3 ? found[3] : "none";
        EXPECT_EQ(streamOf(*client.pid(), std::stoi(script)), clientPath);
        expected.push_back(script);
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(streamOf(*client.pid(), STDIN_FILENO), "/dev/null");
}

TEST_P(HelperSurroundingsTest, theClientHasItsStandardStreamsWhenTheCallersAreClosed) {
    const FakeClient& client = startClient({.prepare = [] { ::close_range(0, ~0U, 0); }});
    const auto found = client.found("descriptor");
    ASSERT_GE(found.size(), 3U);
    EXPECT_THAT(std::vector(found.begin(), found.begin() + 3), ElementsAre("0", "1", "2"));
    EXPECT_EQ(streamOf(*client.pid(), STDIN_FILENO), "/dev/null");
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) {
        EXPECT_THAT(streamOf(*client.pid(), stream), testing::StartsWith("pipe:"));
    }
}

TEST_P(HelperSurroundingsTest, theClientsOutputReachesTheCallersStreams) {
    const FakeClient& client = startClient();
    client.say("on one\n");
    client.sayOnError("and the other\n");
    client.exit(0);
    EXPECT_EQ(program->output(), "on one\nand the other\n");
}

TEST_P(HelperSurroundingsTest, signalsThatTheCallerBlocksOrIgnoresAreReset) {
    const FakeClient& client = startClient({.prepare = [] {
        sigset_t all;
        ::sigfillset(&all);
        ::sigprocmask(SIG_SETMASK, &all, nullptr);
        for (int signal = 1; signal < NSIG; ++signal) {
            ::signal(signal, SIG_IGN);
        }
    }});
    EXPECT_THAT(client.found("blocked-signal"), IsEmpty());
    EXPECT_THAT(client.found("ignored-signal"), IsEmpty());
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->waitStatus(), SIGTERM);
}

struct Limit {
    const char* name;
    int resource;
    /// The smallest value with which a program still starts.
    rlim_t tiny;
    rlim_t soft;
    rlim_t hard;
};

constexpr rlim_t none = RLIM_INFINITY;
constexpr rlim_t kibi = rlim_t{1} << 10U;
constexpr rlim_t mebi = rlim_t{1} << 20U;

constexpr std::array limits{
    Limit{"Max address space", RLIMIT_AS, 16 * mebi, none, none},
    Limit{"Max core file size", RLIMIT_CORE, 0, 0, 0},
    Limit{"Max cpu time", RLIMIT_CPU, 1, none, none},
    Limit{"Max data size", RLIMIT_DATA, 4 * mebi, none, none},
    Limit{"Max file size", RLIMIT_FSIZE, 0, none, none},
    Limit{"Max locked memory", RLIMIT_MEMLOCK, 0, 8 * mebi, 8 * mebi},
    Limit{"Max msgqueue size", RLIMIT_MSGQUEUE, 0, 800 * kibi, 800 * kibi},
    Limit{"Max open files", RLIMIT_NOFILE, 0, 1024, 4096},
    Limit{"Max pending signals", RLIMIT_SIGPENDING, 0, none, none},
    Limit{"Max processes", RLIMIT_NPROC, 0, none, none},
    Limit{"Max stack size", RLIMIT_STACK, mebi / 4, 8 * mebi, none},
};

std::string text(rlim_t value) {
    return value == none ? "unlimited" : std::to_string(value);
}

TEST_P(HelperSurroundingsTest, limitsOfTheCallerAreReset) {
    std::vector<rlimit> tiny;
    tiny.reserve(limits.size());
    for (const Limit& limit : limits) {
        tiny.push_back(lowered(limit.resource, limit.tiny));
    }
    const pid_t client = *startClient({.prepare = [&tiny] {
                              for (std::size_t at = 0; at < limits.size(); ++at) {
                                  const auto resource =
                                      static_cast<__rlimit_resource_t>(limits[at].resource);
                                  if (::setrlimit(resource, &tiny[at]) != 0) {
                                      ::_exit(125);
                                  }
                              }
                          }}).pid();
    for (const Limit& limit : limits) {
        const rlimit expected = raised(limit.resource, limit.soft, limit.hard);
        std::istringstream words(processLine(client, "limits", limit.name));
        std::string soft;
        std::string hard;
        words >> soft >> hard;
        EXPECT_EQ(soft, text(expected.rlim_cur)) << limit.name;
        EXPECT_EQ(hard, text(expected.rlim_max)) << limit.name;
    }
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->waitStatus(), SIGTERM);
}

TEST_P(HelperSurroundingsTest, otherStateOfTheCallerIsReset) {
    const auto muddle = [] {
        ::umask(0);
        ::setpriority(PRIO_PROCESS, 0, 15);
        const sched_param batch{};
        ::sched_setscheduler(0, SCHED_BATCH, &batch);
        ::personality(ADDR_NO_RANDOMIZE | READ_IMPLIES_EXEC);
        ::prctl(PR_SET_DUMPABLE, 1);
        const int score = ::open("/proc/self/oom_score_adj", O_WRONLY);
        if (::chdir("/tmp") != 0 || ::write(score, "900", 3) != 3) {
            ::_exit(125);
        }
    };
    const pid_t client = *startClient({.prepare = muddle}).pid();
    const std::string folder = "/proc/" + std::to_string(client);
    EXPECT_EQ(processLine(client, "status", "Umask:"), "0022");
    EXPECT_EQ(fs::read_symlink(folder + "/cwd"), "/");
    EXPECT_EQ(field(client, 16), 0) << "nice";
    EXPECT_EQ(::sched_getscheduler(client), SCHED_OTHER);
    EXPECT_EQ(readFile(folder + "/personality"), "00000000\n");
    EXPECT_EQ(readFile(folder + "/oom_score_adj"), "0\n");
    EXPECT_NE(field(client, 3), ::getsid(0)) << "session";
    EXPECT_EQ(field(client, 4), 0) << "terminal";
}

TEST_P(HelperSurroundingsTest, settingsOfTheKernelAreReset) {
    const auto muddle = [] {
        constexpr unsigned long thousandSeconds = 1'000'000'000'000;
        constexpr int idleClass = 3 << 13;
        cpu_set_t first;
        CPU_ZERO(&first);
        CPU_SET(0, &first);
        ::prctl(PR_SET_DUMPABLE, 1);
        ::prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
        ::prctl(PR_SET_TSC, PR_TSC_SIGSEGV);
        const int filter = ::open("/proc/self/coredump_filter", O_WRONLY);
        if (::prctl(PR_SET_TIMERSLACK, thousandSeconds) != 0 ||
            ::sched_setaffinity(0, sizeof first, &first) != 0 ||
            ::syscall(SYS_ioprio_set, 1, 0, idleClass) != 0 || ::write(filter, "0x0", 3) != 3) {
            ::_exit(125);
        }
    };
    const pid_t client = *startClient({.prepare = muddle}).pid();
    const std::string folder = "/proc/" + std::to_string(client);
    EXPECT_EQ(readFile(folder + "/timerslack_ns"), "50000\n");
    EXPECT_EQ(processLine(client, "status", "Cpus_allowed:"),
              processLine(::getpid(), "status", "Cpus_allowed:"));
    EXPECT_NE(processLine(client, "status", "THP_enabled:"), "0");
    EXPECT_EQ(readFile(folder + "/coredump_filter"), "00000033\n");
    EXPECT_NE(::syscall(SYS_ioprio_get, 1, client) >> 13, 3) << "I/O class";
}

TEST_F(HelperTest, deadlinesDoNotDependOnTheCallersTimerSlack) {
    constexpr unsigned long thousandSeconds = 1'000'000'000'000;
    const FakeClient& client = installClient("stubborn");
    start(client, {.prepare = [] { ::prctl(PR_SET_TIMERSLACK, thousandSeconds); }});
    EXPECT_EQ(program->send(SIGTERM), 0);
    EXPECT_EQ(program->waitStatus(), SIGKILL);
    EXPECT_TRUE(nothingIsLeftInTime());
}

} // namespace
} // namespace kestrelnet
