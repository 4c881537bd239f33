// SPDX-License-Identifier: MIT
// The time from the correct password to the client's first line in the application, compared with
// the same launcher run by a root shell. Uses the real polkit, in namespaces of its own.
#include "benchmarks/Figures.h"
#include "tests/support/RootWorld.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Waiting.h"
#include "tests/support/polkit/PolkitWorld.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

using namespace kestrelnet;
using namespace kestrelnet::benchmarks;
namespace fs = std::filesystem;

constexpr auto figureName = "Password to the first line, above a root shell";
constexpr int rounds = 20;
constexpr auto firstLine = "the first line";
const std::string launcher = "/usr/libexec/kestrelnet-test/launcher.sh";

void installClient() {
    const std::string path = "/usr/local/bin/kestrelnet-client";
    std::ofstream(path) << "#!/bin/sh\necho '" << firstLine << "'\nexec sleep 600\n";
    fs::permissions(path, static_cast<fs::perms>(0755));
}

bool isRunning(std::string_view part) {
    const auto processes = rootWorld::processes();
    return std::any_of(processes.begin(), processes.end(), [part](const auto& process) {
        return process.command.find(part) != std::string::npos;
    });
}

/// The milliseconds from the password to the line. The password is entered only after the reader of
/// the output has started, which happens one second after the prompt in any case.
double promptedStart(ChildProgram& controller, ChildProgram& agent) {
    controller.tell("connect");
    need(agent.readLine().value_or("").starts_with("request"), "polkit did not ask for a password");
    need(waitFor([] { return isRunning("/Contents/Helpers/tail"); }), "the reader did not start");
    const Time start = now();
    agent.tell("right");
    need(controller.reads(std::string("log ") + firstLine), "the client did not start");
    const double taken = millisecondsBetween(start, now());
    need(agent.reads("answered SUCCESS"), "the password was wrong");
    fs::copy_file("/run/user/" + std::to_string(rootWorld::user.uid) + "/kestrelnet-launcher.sh",
                  launcher, fs::copy_options::overwrite_existing);
    controller.tell("disconnect");
    need(controller.reads("status Disconnected"), "the client did not end");
    need(waitFor([] { return !isRunning("/Contents/Helpers/"); }), "the run did not end");
    return taken;
}

double bareStart() {
    const Time start = now();
    ChildProgram shell({"/bin/sh", "-c", launcher});
    need(shell.reads(firstLine), "the launcher did not start the client");
    return millisecondsBetween(start, now());
}

int measure() {
    rootWorld::installBundle();
    const std::string program =
        rootWorld::install(KESTRELNET_CONTROLLER, rootWorld::bundle + "/Contents/Linux");
    rootWorld::install(rootWorld::bundle + "/Contents/Resources/com.kestrelnetvpn.app.policy",
                       "/usr/share/polkit-1/actions");
    installClient();
    PolkitWorld world;
    world.startPolkit();
    ChildProgram& agent = world.startAgent("--ask");
    ChildProgram controller(PolkitWorld::inSession({program}));
    controller.tell("key dev_0123456789");
    std::vector<double> prompted;
    std::vector<double> bare;
    for (int round = 0; round < rounds; ++round) {
        prompted.push_back(promptedStart(controller, agent));
        bare.push_back(bareStart());
    }
    report({.name = figureName,
            .value = median(prompted) - median(bare),
            .bound = Bound::below,
            .target = 150,
            .unit = "ms",
            .decimals = 0,
            .detail = number(median(prompted), 0) + " against " + number(median(bare), 1) +
                      " ms, " + number(median(prompted) / median(bare), 1) + " x"});
    return EXIT_SUCCESS;
}

} // namespace

int main() {
    if (::geteuid() != 0) {
        reportSkipped(figureName, "needs root");
        return EXIT_SUCCESS;
    }
    return rootWorld::enter(measure);
}
