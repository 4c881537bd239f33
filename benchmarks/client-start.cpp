// SPDX-License-Identifier: MIT
// The time from connect() to the client's first instruction, relative to posix_spawn alone.

#include "benchmarks/Controller.h"
#include "benchmarks/Figures.h"
#include "benchmarks/FirstInstruction.h"

#include <QCoreApplication>

#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-redundant-declaration): not declared everywhere.

namespace {

using namespace kestrelnet;
using namespace kestrelnet::benchmarks;
using namespace std::chrono_literals;

constexpr int rounds = 500;
constexpr int warmUpRounds = 20;

/// Makes the writing end of a new pipe the standard input, which every child inherits. Returns the
/// reading end.
int makeTimePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0 || ::dup2(ends[1], STDIN_FILENO) < 0) {
        giveUp("no pipe could be created");
    }
    ::close(ends[1]);
    return ends[0];
}

double bareStart(const std::string& client, int timePipe) {
    char* const arguments[] = {const_cast<char*>(client.c_str()), nullptr};
    pid_t pid = 0;
    const Time start = now();
    if (::posix_spawn(&pid, client.c_str(), nullptr, nullptr, arguments, environ) != 0) {
        giveUp(client + " could not be started");
    }
    const double taken = millisecondsBetween(start, readFirstInstruction(timePipe));
    ::waitpid(pid, nullptr, 0);
    return taken;
}

double controllerStart(Controller& controller, int timePipe) {
    TunnelManager& tunnel = controller.tunnel();
    const Time start = now();
    tunnel.connect();
    if (tunnel.status != TunnelStatus::connecting) {
        giveUp(tunnel.lastLog);
    }
    const double taken = millisecondsBetween(start, readFirstInstruction(timePipe));
    controller.serveUntil([&] { return tunnel.status == TunnelStatus::error; }, 20s,
                          "the client's end was not reported");
    return taken;
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const std::string client = besideThisProgram("first-instruction-to-input");
    Controller controller(client);
    const int timePipe = makeTimePipe();

    std::vector<double> bare;
    std::vector<double> ours;
    for (int round = -warmUpRounds; round < rounds; ++round) {
        const double bareTime = bareStart(client, timePipe);
        const double ourTime = controllerStart(controller, timePipe);
        if (round >= 0) {
            bare.push_back(bareTime);
            ours.push_back(ourTime);
        }
    }
    report({"connect() to the client's first instruction, against posix_spawn",
            median(ours) / median(bare), Bound::atMost, 1.5, " x", 2,
            number(median(ours), 3) + " ms against " + number(median(bare), 3) + " ms"});
}
