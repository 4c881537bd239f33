// SPDX-License-Identifier: MIT
// What else the client finds: rights, descriptors, signals, limits.
#include "tests/platform/linux/helper/HelperTest.h"

#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <signal.h>
#include <sstream>
#include <sys/personality.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = std::filesystem;

/// The field at `index` of /proc/PID/stat, counted from the state, which is 0.
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

TEST_P(HelperSurroundingsTest, theClientIsRootInEveryWay) {
    const pid_t client = *startClient().pid();
    EXPECT_EQ(processLine(client, "status", "Uid:"), "0\t0\t0\t0");
    EXPECT_EQ(processLine(client, "status", "Gid:"), "0\t0\t0\t0");
    EXPECT_EQ(processLine(client, "status", "Groups:"), "");
}

TEST_P(HelperSurroundingsTest, theFrontIsTheUserAndNothingMore) {
    startClient();
    const std::string id = std::to_string(rootWorld::user.uid);
    const std::string four = id + '\t' + id + '\t' + id + '\t' + id;
    EXPECT_EQ(processLine(program->pid(), "status", "Uid:"), four);
    EXPECT_EQ(processLine(program->pid(), "status", "Gid:"), four);
    EXPECT_EQ(processLine(program->pid(), "status", "CapPrm:"), "0000000000000000");
}

TEST_P(HelperSurroundingsTest, theClientHasOneArgumentItsOwnName) {
    installClientText("#!/bin/sh\nprintf '%s\\n' $# \"$0\"\n");
    program = std::make_unique<UserProgram>(helperPath);
    // An interpreter is told to read the script from the descriptor that was checked.
    EXPECT_THAT(program->output(), testing::StartsWith("0\n/dev/fd/"));
    const FakeClient& client = installClient("script");
    start(client);
    EXPECT_THAT(client.found("argument"), ElementsAre(clientPath));
}

TEST_P(HelperSurroundingsTest, theClientHoldsNoDescriptorOfTheCallers) {
    const FakeClient& client = startClient({.prepare = [] {
        for (const int descriptor : {3, 4, 17, 200, 1000}) {
            ::dup2(STDOUT_FILENO, descriptor);
        }
    }});
    auto expected = std::vector<std::string>{"0", "1", "2"};
    const auto found = client.found("descriptor");
    ASSERT_GE(found.size(), 3U);
    if (GetParam() == "script") {
        // The shell that became this client has the script itself open as well.
        const std::string script = found.size() > 3 ? found[3] : "none";
        EXPECT_EQ(streamOf(*client.pid(), std::stoi(script)), clientPath);
        expected.push_back(script);
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(streamOf(*client.pid(), STDIN_FILENO), "/dev/null");
}

TEST_P(HelperSurroundingsTest, closedStandardStreamsAreOpenToTheClient) {
    const FakeClient& client = startClient({.prepare = [] { ::close_range(0, ~0U, 0); }});
    const auto found = client.found("descriptor");
    ASSERT_GE(found.size(), 3U);
    EXPECT_THAT(std::vector(found.begin(), found.begin() + 3), ElementsAre("0", "1", "2"));
    for (int stream = 0; stream <= 2; ++stream) {
        EXPECT_THAT(streamOf(*client.pid(), stream), testing::StartsWith("/dev/"));
    }
}

TEST_P(HelperSurroundingsTest, theClientWritesToTheCallersStreams) {
    const FakeClient& client = startClient();
    client.say("on one\n");
    client.sayOnError("and the other\n");
    client.exit(0);
    EXPECT_EQ(program->output(), "on one\nand the other\n");
}

TEST_P(HelperSurroundingsTest, blockedAndIgnoredSignalsAreNeitherToTheClient) {
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

TEST_P(HelperSurroundingsTest, tinyLimitsOfTheCallerLimitNobody) {
    const FakeClient& client = startClient({.prepare = [] {
        const auto limit = [](auto resource, rlim_t value) {
            const rlimit both{value, value};
            if (::setrlimit(resource, &both) != 0) {
                ::_exit(125);
            }
        };
        limit(RLIMIT_AS, rlim_t{16} << 20U);
        limit(RLIMIT_CORE, 0);
        limit(RLIMIT_CPU, 1);
        limit(RLIMIT_DATA, rlim_t{4} << 20U);
        limit(RLIMIT_FSIZE, 0);
        limit(RLIMIT_MEMLOCK, 0);
        limit(RLIMIT_MSGQUEUE, 0);
        limit(RLIMIT_NOFILE, 3);
        limit(RLIMIT_NPROC, 0);
        limit(RLIMIT_SIGPENDING, 0);
        limit(RLIMIT_STACK, rlim_t{256} << 10U);
    }});
    const auto limitOf = [&client](const std::string& name) {
        std::istringstream words(processLine(*client.pid(), "limits", name));
        std::string soft;
        std::string hard;
        words >> soft >> hard;
        return soft + ' ' + hard;
    };
    EXPECT_EQ(limitOf("Max address space"), "unlimited unlimited");
    EXPECT_EQ(limitOf("Max core file size"), "0 0");
    EXPECT_EQ(limitOf("Max cpu time"), "unlimited unlimited");
    EXPECT_EQ(limitOf("Max data size"), "unlimited unlimited");
    EXPECT_EQ(limitOf("Max file size"), "unlimited unlimited");
    EXPECT_EQ(limitOf("Max locked memory"), "8388608 8388608");
    EXPECT_EQ(limitOf("Max open files"), "1024 4096");
    EXPECT_EQ(limitOf("Max processes"), "unlimited unlimited");
    EXPECT_EQ(limitOf("Max pending signals"), "unlimited unlimited");
    EXPECT_EQ(limitOf("Max stack size"), "8388608 unlimited");
}

TEST_P(HelperSurroundingsTest, aSingleLimitOfNothingIsNoHindrance) {
    for (const auto resource : {RLIMIT_CPU, RLIMIT_FSIZE, RLIMIT_MEMLOCK, RLIMIT_MSGQUEUE,
                                RLIMIT_NOFILE, RLIMIT_NPROC, RLIMIT_SIGPENDING}) {
        startClient({.prepare = [resource] {
            constexpr rlimit nothing{};
            ::setrlimit(resource, &nothing);
        }});
        EXPECT_EQ(program->send(SIGTERM), 0) << resource;
        EXPECT_EQ(program->waitStatus(), SIGTERM) << resource;
        EXPECT_EQ(program->output(), "") << resource;
    }
}

TEST_P(HelperSurroundingsTest, theRestOfTheCallersStateIsGone) {
    const pid_t client = *startClient({.prepare = [] {
                              ::umask(0);
                              static_cast<void>(::chdir("/tmp"));
                              ::setpriority(PRIO_PROCESS, 0, 15);
                              const sched_param batch{};
                              ::sched_setscheduler(0, SCHED_BATCH, &batch);
                              ::personality(ADDR_NO_RANDOMIZE | READ_IMPLIES_EXEC);
                              const int score = ::open("/proc/self/oom_score_adj", O_WRONLY);
                              static_cast<void>(::write(score, "900", 3));
                          }}).pid();
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

} // namespace
} // namespace kestrelnet
