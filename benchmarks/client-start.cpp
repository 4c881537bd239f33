// SPDX-License-Identifier: MIT
// How long it takes from connect() to the client's first instruction, against a bare posix_spawn.

#include "benchmarks/Controller.h"
#include "benchmarks/Figures.h"

#include <QCoreApplication>

#include <ctime>
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

/// Puts the writing end of a new pipe where every child inherits it, as standard input, and returns
/// the reading end.
int makeTimePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0 || ::dup2(ends[1], STDIN_FILENO) < 0) {
        giveUp("there is no pipe to be had");
    }
    ::close(ends[1]);
    return ends[0];
}

/// Waits for the client's first instruction and returns the milliseconds since `start`.
double sinceStart(Time start, int timePipe) {
    timespec time{};
    if (::read(timePipe, &time, sizeof time) != sizeof time) {
        giveUp("the client did not tell the time");
    }
    const auto first = std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    return millisecondsBetween(start, Time(first));
}

double bareStart(const std::string& client, int timePipe) {
    char* const arguments[] = {const_cast<char*>(client.c_str()), nullptr};
    pid_t pid = 0;
    const Time start = now();
    if (::posix_spawn(&pid, client.c_str(), nullptr, nullptr, arguments, environ) != 0) {
        giveUp(client + " could not be started");
    }
    const double taken = sinceStart(start, timePipe);
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
    const double taken = sinceStart(start, timePipe);
    controller.serveUntil([&] { return tunnel.status == TunnelStatus::error; }, 20s,
                          "the client's end was not told");
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
