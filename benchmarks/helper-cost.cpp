// SPDX-License-Identifier: MIT
// The cost of the privileged helper: the time that it adds before the client's first instruction,
// and the memory and wake-ups of its two processes while the client is idle. Runs in namespaces of
// its own, because it needs root.
#include "benchmarks/Figures.h"
#include "benchmarks/FirstInstruction.h"
#include "tests/support/RootWorld.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace kestrelnet;
using namespace kestrelnet::benchmarks;
namespace fs = std::filesystem;

constexpr int rounds = 50;
constexpr int warmUpRounds = 5;
constexpr std::chrono::seconds quietTime{5};
constexpr auto helper = "/Library/PrivilegedHelperTools/com.kestrelnetvpn.tunnel";
constexpr auto client = "/Library/PrivilegedHelperTools/kestrelnet-client";

constexpr auto startName = "Helper: its start to the client's first instruction, above root's";
constexpr auto memoryName = "Helper: resident memory of front and guard together";
constexpr auto wakeUpsName = "Helper: wake-ups in 5 s while the client is quiet";

/// Starts `program` as `user`, with `output` as its standard output.
pid_t start(const char* program, uid_t user, int output) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(output, STDOUT_FILENO);
        if (::setresuid(user, user, user) == 0) {
            ::execl(program, program, nullptr);
        }
        ::_exit(127);
    }
    return pid;
}

double millisecondsToFirstInstruction(const char* program, uid_t user) {
    std::array<int, 2> pipe{};
    need(::pipe2(pipe.data(), O_CLOEXEC) == 0, "no pipe could be created");
    const Time before = now();
    const pid_t pid = start(program, user, pipe[1]);
    const Time first = readFirstInstruction(pipe[0]);
    ::waitpid(pid, nullptr, 0);
    ::close(pipe[0]);
    ::close(pipe[1]);
    return millisecondsBetween(before, first);
}

void measureStart() {
    fs::copy_file(KESTRELNET_FIRST_INSTRUCTION, client, fs::copy_options::overwrite_existing);
    std::vector<double> helped;
    std::vector<double> direct;
    for (int round = -warmUpRounds; round < rounds; ++round) {
        const double ours = millisecondsToFirstInstruction(helper, rootWorld::user.uid);
        const double bare = millisecondsToFirstInstruction(client, 0);
        if (round >= 0) {
            helped.push_back(ours);
            direct.push_back(bare);
        }
    }
    report({startName, median(helped) - median(direct), Bound::atMost, 1, " ms", 2,
            number(median(helped), 2) + " against " + number(median(direct), 2) + " ms"});
}

/// The sum over `processes` of the number in each line of /proc/PID/FILE that holds `name`.
double sum(const std::vector<pid_t>& processes, const std::string& file, const std::string& name) {
    double total = 0;
    for (const pid_t pid : processes) {
        std::istringstream lines(readFile("/proc/" + std::to_string(pid) + '/' + file));
        for (std::string line; std::getline(lines, line);) {
            if (line.find(name) != std::string::npos) {
                total += std::stod(line.substr(line.find(':') + 1));
            }
        }
    }
    return total;
}

std::vector<pid_t> helperProcesses() {
    std::vector<pid_t> found;
    for (const auto& process : rootWorld::processes()) {
        if (process.command.starts_with(helper)) {
            found.push_back(process.pid);
        }
    }
    return found;
}

void measureQuiet() {
    fs::remove(client);
    std::ofstream(client) << "#!/bin/sh\necho ready\nexec tail -f /dev/null\n";
    fs::permissions(client, static_cast<fs::perms>(0755));
    std::array<int, 2> pipe{};
    need(::pipe2(pipe.data(), O_CLOEXEC) == 0, "no pipe could be created");
    const pid_t front = start(helper, rootWorld::user.uid, pipe[1]);
    char byte = 0;
    need(::read(pipe[0], &byte, 1) == 1, "the client did not start");
    need(waitFor([] { return helperProcesses().size() == 2; }),
         "the helper does not have two processes");

    const std::vector<pid_t> processes = helperProcesses();
    constexpr double kibiToMega = 1024.0 / 1e6;
    report({memoryName, sum(processes, "status", "VmRSS") * kibiToMega, Bound::below, 2, " MB", 2,
            number(sum(processes, "smaps_rollup", "Pss:") * kibiToMega, 2) +
                " MB proportional set size"});
    const double before = sum(processes, "status", "ctxt_switches");
    std::this_thread::sleep_for(quietTime);
    report(
        {wakeUpsName, sum(processes, "status", "ctxt_switches") - before, Bound::atMost, 0, "", 0});
    ::kill(front, SIGTERM);
    ::waitpid(front, nullptr, 0);
}

int measure() {
    rootWorld::install(KESTRELNET_HELPER, fs::path(helper).parent_path());
    need(::chmod(helper, 04755) == 0, "the helper could not be installed");
    measureStart();
    measureQuiet();
    return EXIT_SUCCESS;
}

} // namespace

int main() {
    if (::geteuid() != 0) {
        for (const char* name : {startName, memoryName, wakeUpsName}) {
            reportSkipped(name, "needs root");
        }
        return EXIT_SUCCESS;
    }
    return rootWorld::enter(measure);
}
