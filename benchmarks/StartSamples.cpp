// SPDX-License-Identifier: MIT
#include "benchmarks/StartSamples.h"

#include "benchmarks/Figures.h"

namespace kestrelnet::benchmarks {

double awaitIcon(Surroundings& around, const ChildProcess& program) {
    around.serveUntil([&] { return around.tray.registered().has_value(); },
                      "no tray icon was registered");
    return millisecondsBetween(program.startTime(), *around.tray.registered());
}

void sampleStart(Surroundings& around, const Command& command, StartSamples& samples) {
    around.tray.forget();
    const ChildProcess program(command);
    samples.milliseconds.push_back(awaitIcon(around, program));
    awaitQuiet(around, program);
    samples.memory.push_back(program.memory());
}

} // namespace kestrelnet::benchmarks
