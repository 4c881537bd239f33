// SPDX-License-Identifier: MIT
// Compares the start and the idle memory of programs with a tray icon, in one session with the
// toolkits' theme plug-ins, and prints a table.
//
// Runs on the quiet desktop, without network and without services of the system. Its session bus
// also serves as the bus of the system. Each program is given as two arguments: its description,
// and its command.

#include "benchmarks/ChildProcess.h"
#include "benchmarks/Figures.h"
#include "benchmarks/StartSamples.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace kestrelnet::benchmarks;
using namespace std::chrono_literals;

constexpr int runs = 7;
/// Until the memory is read. Some of the programs never stop trying to reach their service.
constexpr auto settlingTime = 4s;

struct Program {
    std::string description;
    Command command;
    StartSamples samples = {};
};

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    if (value == nullptr) {
        giveUp("this must run on the quiet desktop");
    }
    return value;
}

Command commandFrom(const std::string& text) {
    std::istringstream words(text);
    Command result;
    words >> result.path;
    for (std::string word; words >> word;) {
        result.arguments.push_back(word);
    }
    result.variables = {"XDG_CURRENT_DESKTOP=XFCE",
                        "DBUS_SYSTEM_BUS_ADDRESS=" + variable("DBUS_SESSION_BUS_ADDRESS")};
    result.isSilent = true;
    return result;
}

/// The password manager shows an icon only where its settings say so, and starts with its window
/// otherwise.
void writeSettings() {
    const std::filesystem::path folder = variable("XDG_CONFIG_HOME") + "/keepassxc";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "keepassxc.ini") << "[General]\n"
                                               "UpdateCheckMessageShown=true\n"
                                               "[GUI]\n"
                                               "MinimizeOnStartup=true\n"
                                               "MinimizeToTray=true\n"
                                               "ShowTrayIcon=true\n";
}

void sample(Surroundings& around, const Command& command, StartSamples& samples) {
    around.tray.forget();
    const ChildProcess program(command);
    samples.milliseconds.push_back(awaitIcon(around, program));
    around.serveFor(settlingTime);
    samples.memory.push_back(program.treeMemory());
}

void print(const Program& program) {
    std::printf("| %s | %s ms | %s MiB |\n", program.description.c_str(),
                number(median(program.samples.milliseconds), 0).c_str(),
                number(median(program.samples.memory), 1).c_str());
}

} // namespace

int main(int argc, char* argv[]) {
    need(argc >= 3 && argc % 2 == 1, "usage: peers DESCRIPTION COMMAND...");
    std::vector<Program> programs;
    for (int argument = 1; argument < argc; argument += 2) {
        programs.push_back({argv[argument], commandFrom(argv[argument + 1])});
    }
    writeSettings();
    Surroundings around;
    around.serveUntil([&] { return around.screen.hasWindowManager(); },
                      "there is no window manager", 5ms);
    // The first run of each fills the caches of the system.
    for (int run = 0; run <= runs; ++run) {
        for (Program& program : programs) {
            StartSamples warmUp;
            sample(around, program.command, run == 0 ? warmUp : program.samples);
        }
    }
    std::puts("| Program | Time to the icon | Idle memory (PSS) |\n|---|---|---|");
    for (const Program& program : programs) {
        print(program);
    }
}
