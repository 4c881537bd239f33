// SPDX-License-Identifier: MIT
#include "benchmarks/StartSamples.h"

#include "benchmarks/Figures.h"

namespace kestrelnet::benchmarks {

namespace {

void reportRatio(const std::string& name, double our, double their, double bound,
                 const std::string& unit) {
    report({name, our / their, Bound::atMost, bound, " x", 2,
            number(our, 1) + unit + " against " + number(their, 1) + unit});
}

/// Other work of the machine only adds to the time of a start, often several milliseconds in half
/// of the runs. The median then jumps between the two times; the quarter of the fast starts does
/// not.
double typicalTime(const StartSamples& samples) {
    return quantile(samples.milliseconds, 0.25);
}

} // namespace

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

void reportStart(const std::string& against, const StartSamples& ours, const StartSamples& theirs,
                 StartBounds bounds) {
    reportRatio("Start to tray icon" + against, typicalTime(ours), typicalTime(theirs), bounds.time,
                " ms");
    reportRatio("Idle memory (PSS)" + against, median(ours.memory), median(theirs.memory),
                bounds.memory, " MiB");
}

} // namespace kestrelnet::benchmarks
