// SPDX-License-Identifier: MIT
// Measures the whole application from outside, compared with a Qt program that only shows a tray
// icon: start, memory, idle use, windows, second start, and the delay of its icon behind the
// client's output.
//
// Runs on the quiet desktop, where the helper is a client that writes nothing for a minute.

#include "benchmarks/ChildProcess.h"
#include "benchmarks/Figures.h"
#include "benchmarks/StartSamples.h"
#include "benchmarks/Surroundings.h"

#include <algorithm>
#include <fcntl.h>
#include <functional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace kestrelnet::benchmarks;
using namespace std::chrono_literals;

constexpr int startRuns = 25;
constexpr int panelRuns = 9;
constexpr int routeRuns = 5;
constexpr int routesPerRun = 10;

constexpr auto idleWindow = 10s;
constexpr auto lineWindow = 4s;
constexpr int linesPerSecond = 736;
constexpr auto pixelInterval = 200us;

/// The position of the tray icon, at which the panel opens.
constexpr int pointerX = 1200;
constexpr int pointerY = 10;

void measureStart(Surroundings& around, const std::string& application, const std::string& bare) {
    StartSamples warmUp;
    sampleStart(around, {bare}, warmUp);
    sampleStart(around, {application}, warmUp);
    StartSamples theirs;
    StartSamples ours;
    for (int run = 0; run < startRuns; ++run) {
        sampleStart(around, {bare}, theirs);
        sampleStart(around, {application}, ours);
    }
    reportStart(", against a bare Qt program", ours, theirs, {.time = 1.15, .memory = 1.10});
}

void measureRest(Surroundings& around, const std::string& application) {
    around.tray.forget();
    const ChildProcess program(application);
    awaitIcon(around, program);
    awaitQuiet(around, program);
    const Usage before = program.usage();
    around.serveFor(idleWindow);
    const Usage after = program.usage();
    const std::string window = "in " + std::to_string(idleWindow.count()) + " s";
    report({"Wake-ups while idle",
            static_cast<double>(after.contextSwitches - before.contextSwitches), Bound::atMost, 0,
            "", 0, window});
    report({"CPU time while idle", after.milliseconds - before.milliseconds, Bound::atMost, 0,
            " ms", 2, window});
}

/// Clicks the icon and returns the milliseconds until the panel is painted.
double openPanel(Surroundings& around) {
    const Time click = now();
    around.tray.activate(pointerX, pointerY);
    around.serveUntil([&] { return around.screen.isWindowPainted(); }, "the panel did not open",
                      pixelInterval);
    return millisecondsBetween(click, now());
}

void closePanel(Surroundings& around) {
    around.tray.activate(pointerX, pointerY);
    around.serveUntil([&] { return around.screen.windowCount() == 0; }, "the panel did not close");
}

void measurePanel(Surroundings& around, const std::string& application) {
    std::vector<double> first;
    std::vector<double> second;
    std::vector<double> more;
    for (int run = 0; run < panelRuns; ++run) {
        around.tray.forget();
        const ChildProcess program(application);
        awaitIcon(around, program);
        awaitQuiet(around, program);
        first.push_back(openPanel(around));
        awaitQuiet(around, program);
        closePanel(around);
        awaitQuiet(around, program);
        second.push_back(openPanel(around));
        awaitQuiet(around, program);
        closePanel(around);
        more.push_back(first.back() - second.back());
    }
    report({"Click to painted panel, first over second time", median(more), Bound::atMost, 25,
            " ms", 1, "first time " + number(median(first), 1) + " ms"});
    report({"Click to painted panel, second time", median(second), Bound::atMost, 16.7, " ms", 1});
}

/// Opens the settings by a link and returns the milliseconds until they are painted.
double openSettings(Surroundings& around) {
    const Time click = now();
    around.tray.openLink("kestrelnet://setup?key=dev_0123456789abcdef");
    around.serveUntil([&] { return around.screen.isWindowPainted(); },
                      "the settings window did not open", pixelInterval);
    return millisecondsBetween(click, now());
}

void closeSettings(Surroundings& around) {
    around.screen.closeActiveWindow();
    around.serveUntil([&] { return around.screen.windowCount() == 0; },
                      "the settings window did not close");
}

/// The idle memory of the program `path`, which only shows an icon.
double idleMemory(Surroundings& around, const std::string& path) {
    StartSamples samples;
    sampleStart(around, {path}, samples);
    return samples.memory.front();
}

void measureSettings(Surroundings& around, const std::string& application,
                     const std::string& bare) {
    std::vector<double> first;
    std::vector<double> later;
    std::vector<double> memory;
    std::vector<double> bareMemory;
    for (int run = 0; run < panelRuns; ++run) {
        bareMemory.push_back(idleMemory(around, bare));
        around.tray.forget();
        const ChildProcess program(application);
        awaitIcon(around, program);
        awaitQuiet(around, program);
        first.push_back(openSettings(around));
        awaitQuiet(around, program);
        closeSettings(around);
        awaitQuiet(around, program);
        later.push_back(openSettings(around));
        awaitQuiet(around, program);
        closeSettings(around);
        openPanel(around);
        awaitQuiet(around, program);
        closePanel(around);
        awaitQuiet(around, program);
        memory.push_back(program.memory());
    }
    report({"Link to painted settings window, first time", median(first), Bound::atMost, 60, " ms",
            1});
    report(
        {"Link to painted settings window, later", median(later), Bound::atMost, 16.7, " ms", 1});
    report({"Memory (PSS) after both windows, against an idle bare Qt program",
            median(memory) / median(bareMemory), Bound::atMost, 1.50, " x", 2,
            number(median(memory), 1) + " MiB against " + number(median(bareMemory), 1) + " MiB"});
}

/// Starts the application again while it runs, and returns the milliseconds until a window of the
/// first instance is painted.
double startAgain(Surroundings& around, const std::string& application,
                  std::vector<std::string> arguments) {
    const ChildProcess second(application, std::move(arguments));
    around.serveUntil([&] { return around.screen.isWindowPainted(); },
                      "a second start opened no window", pixelInterval);
    return millisecondsBetween(second.startTime(), now());
}

void measureSecondStart(Surroundings& around, const std::string& application) {
    std::vector<double> panel;
    std::vector<double> panelAgain;
    std::vector<double> settings;
    for (int run = 0; run < panelRuns; ++run) {
        around.tray.forget();
        const ChildProcess program(application);
        awaitIcon(around, program);
        awaitQuiet(around, program);
        for (auto* const samples : {&panel, &panelAgain}) {
            samples->push_back(startAgain(around, application, {}));
            awaitQuiet(around, program);
            closePanel(around);
            awaitQuiet(around, program);
        }
        settings.push_back(
            startAgain(around, application, {"kestrelnet://setup?key=dev_0123456789abcdef"}));
    }
    constexpr double target = 100;
    report({"Second start to painted panel", median(panel), Bound::below, target, " ms", 1,
            "the panel's second time " + number(median(panelAgain), 1) + " ms"});
    report({"Link to painted settings, in a running program", median(settings), Bound::below,
            target, " ms", 1, "by a second start, the settings' first time"});
}

/// Writes `line` to the client's standard output, and returns the milliseconds until the change of
/// the icon is announced.
double changeIcon(Surroundings& around, int clientOutput, std::string_view line) {
    around.tray.forgetIcon();
    const Time start = now();
    if (::write(clientOutput, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        giveUp("the client's output could not be written");
    }
    around.serveUntil([&] { return around.tray.iconChanged().has_value(); },
                      "the icon did not change");
    return millisecondsBetween(start, *around.tray.iconChanged());
}

/// Waits for the client of a connecting application, and opens its standard output.
int openClientOutput(Surroundings& around, const ChildProcess& program) {
    around.serveUntil([&] { return program.childIdentifier() != 0; }, "no client was started", 1ms);
    awaitQuiet(around, program);
    const std::string path = "/proc/" + std::to_string(program.childIdentifier()) + "/fd/1";
    return ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
}

/// Opens the panel of an application that connects by itself, and its client's standard output.
int openPanelAndClient(Surroundings& around, const ChildProcess& program) {
    awaitIcon(around, program);
    awaitQuiet(around, program);
    openPanel(around);
    return openClientOutput(around, program);
}

void measureRoutes(Surroundings& around, const std::string& application) {
    std::vector<double> all;
    std::vector<double> first;
    for (int run = 0; run < routeRuns; ++run) {
        around.tray.forget();
        const ChildProcess program(application);
        const int clientOutput = openPanelAndClient(around, program);
        for (int route = 0; route < routesPerRun; ++route) {
            all.push_back(changeIcon(around, clientOutput, "Split-tunnel routes: 10.0.0.0/8\n"));
            if (route == 0) {
                first.push_back(all.back());
            }
            awaitQuiet(around, program);
            changeIcon(around, clientOutput, "Reconnecting\n");
            awaitQuiet(around, program);
        }
        ::close(clientOutput);
    }
    report({"Route line to the tray icon's change", median(all), Bound::below, 5, " ms", 2,
            "the first in each of " + std::to_string(routeRuns) + " processes " +
                number(median(first), 2) + " ms"});
}

/// Single lines of a talkative client while the panel shows the last one.
void measureSingleLines(Surroundings& around, const std::string& application) {
    around.tray.forget();
    const ChildProcess program(application);
    const int clientOutput = openPanelAndClient(around, program);
    changeIcon(around, clientOutput, "Split-tunnel routes: 10.0.0.0/8\n");
    awaitQuiet(around, program);
    const Usage before = program.usage();
    const Time start = now();
    int lines = 0;
    for (Time next = start; next < start + lineWindow; ++lines) {
        const std::string line = "Packet " + std::to_string(lines) + " was sent\n";
        need(::write(clientOutput, line.data(), line.size()) == static_cast<ssize_t>(line.size()),
             "the client's output could not be written");
        next += std::chrono::nanoseconds(1s) / linesPerSecond;
        around.serveFor(next - now());
    }
    const double elapsed = millisecondsBetween(start, now());
    const double used = program.usage().milliseconds - before.milliseconds;
    ::close(clientOutput);
    report({"CPU time at single lines with the panel open", used / elapsed * 100, Bound::atMost, 10,
            " %", 1, "at " + number(lines / elapsed * 1000, 0) + " lines a second"});
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 3) {
        giveUp("usage: application-from-outside APPLICATION BARE-TRAY");
    }
    const std::string application = argv[1];
    Surroundings around;
    around.serveUntil([&] { return around.screen.hasWindowManager(); },
                      "there is no window manager", 5ms);
    around.screen.movePointer(pointerX, pointerY);
    writeSettings(false);
    measureStart(around, application, argv[2]);
    measureRest(around, application);
    measurePanel(around, application);
    measureSettings(around, application, argv[2]);
    measureSecondStart(around, application);
    writeSettings(true);
    measureRoutes(around, application);
    measureSingleLines(around, application);
}
