// SPDX-License-Identifier: MIT
// Measures the start and the idle memory of the application where the toolkit's theme plug-in for
// the desktop is installed, compared with a Qt program that only shows a tray icon, on a desktop
// without one.
//
// Runs on the quiet desktop, whose environment names no desktop.

#include "benchmarks/ChildProcess.h"
#include "benchmarks/Figures.h"
#include "benchmarks/StartSamples.h"

#include <string>
#include <vector>

namespace {

using namespace kestrelnet::benchmarks;
using namespace std::chrono_literals;

constexpr int runs = 15;
constexpr double targetTime = 1.25;
constexpr double targetMemory = 1.15;

Command on(const std::string& desktop, const std::string& path) {
    return {.path = path, .variables = {"XDG_CURRENT_DESKTOP=" + desktop}};
}

/// Whether the toolkit loads a theme for this desktop into a program that does not prevent it.
bool hasPlugin(Surroundings& around, const std::string& desktop, const std::string& bare) {
    around.tray.forget();
    const ChildProcess program(on(desktop, bare));
    awaitIcon(around, program);
    return program.hasMapped("/platformthemes/");
}

void compare(const std::string& name, const std::vector<double>& ours,
             const std::vector<double>& theirs, double target, const std::string& unit) {
    report({name, median(ours) / median(theirs), Bound::atMost, target, " x", 2,
            number(median(ours), 1) + unit + " against " + number(median(theirs), 1) + unit});
}

void measure(Surroundings& around, const std::string& desktop, const std::string& application,
             const std::string& bare) {
    StartSamples warmUp;
    sampleStart(around, {bare}, warmUp);
    sampleStart(around, on(desktop, application), warmUp);
    StartSamples theirs;
    StartSamples ours;
    for (int run = 0; run < runs; ++run) {
        sampleStart(around, {bare}, theirs);
        sampleStart(around, on(desktop, application), ours);
    }
    const std::string place = " on " + desktop + ", against a bare Qt program without a theme";
    compare("Start to tray icon" + place, ours.milliseconds, theirs.milliseconds, targetTime,
            " ms");
    compare("Idle memory (PSS)" + place, ours.memory, theirs.memory, targetMemory, " MiB");
}

} // namespace

int main(int argc, char* argv[]) {
    need(argc == 3, "usage: theme-plugin APPLICATION BARE-TRAY");
    Surroundings around;
    around.serveUntil([&] { return around.screen.hasWindowManager(); },
                      "there is no window manager", 5ms);
    for (const char* const desktop : {"XFCE", "GNOME"}) {
        need(hasPlugin(around, desktop, argv[2]),
             "the toolkit has no theme plug-in for " + std::string(desktop));
        measure(around, desktop, argv[1], argv[2]);
    }
}
