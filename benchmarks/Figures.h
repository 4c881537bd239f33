// SPDX-License-Identifier: MIT
// What every measuring program shares: samples and the line in which a figure is told.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace kestrelnet::benchmarks {

/// The clock that the programs on both sides of a measurement read.
using Time = std::chrono::steady_clock::time_point;
using Milliseconds = std::chrono::duration<double, std::milli>;

inline Time now() {
    return std::chrono::steady_clock::now();
}

inline double millisecondsBetween(Time start, Time end) {
    return Milliseconds(end - start).count();
}

/// The smallest sample that is not below `share` of all samples; 0.5 is the median. NaN when there
/// are none.
double quantile(std::vector<double> samples, double share);

inline double median(std::vector<double> samples) {
    return quantile(std::move(samples), 0.5);
}

/// A number with `decimals` digits behind the point.
std::string number(double value, int decimals);

enum class Bound { atMost, atLeast, below };

struct Figure {
    std::string name;
    double value;
    Bound bound;
    double target;
    std::string unit;
    int decimals = 2;
    /// The measurements behind the value.
    std::string detail = {};
};

/// Prints one line: name, value, target, and whether it holds.
void report(const Figure& figure);

/// The line of a figure that was not measured, and why.
void reportSkipped(const std::string& name, const std::string& reason);

/// Says on standard error why something could not be measured, and ends the program with status 1.
[[noreturn]] void giveUp(const std::string& reason);

} // namespace kestrelnet::benchmarks
