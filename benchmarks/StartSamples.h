// SPDX-License-Identifier: MIT
// The start of a program with a tray icon.
#pragma once

#include "benchmarks/ChildProcess.h"
#include "benchmarks/Surroundings.h"

#include <string>
#include <vector>

namespace kestrelnet::benchmarks {

/// One value for each start.
struct StartSamples {
    /// Until the tray icon is registered.
    std::vector<double> milliseconds;
    /// The idle memory (PSS) in MiB.
    std::vector<double> memory;
};

/// Waits for the tray icon, and returns the milliseconds since the start of the program.
double awaitIcon(Surroundings& around, const ChildProcess& program);

/// Starts the program and ends it when it is idle; adds to `samples`.
void sampleStart(Surroundings& around, const Command& command, StartSamples& samples);

struct StartBounds {
    double time;
    double memory;
};

/// Prints the figures of the time and of the memory, relative to `theirs`, which must not exceed
/// `bounds`. `against` ends their names.
void reportStart(const std::string& against, const StartSamples& ours, const StartSamples& theirs,
                 StartBounds bounds);

} // namespace kestrelnet::benchmarks
