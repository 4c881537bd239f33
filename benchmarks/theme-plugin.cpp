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

constexpr int runs = 25;

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
    reportStart(" on " + desktop + ", against a bare Qt program without a theme", ours, theirs,
                {.time = 1.25, .memory = 1.15});
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
