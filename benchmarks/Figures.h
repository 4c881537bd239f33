// SPDX-License-Identifier: MIT
// Shared by all measuring programs: statistics of samples, and the output of a figure.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace kestrelnet::benchmarks {

/// The clock that all programs of a measurement read.
using Time = std::chrono::steady_clock::time_point;
using Milliseconds = std::chrono::duration<double, std::milli>;

inline Time now() {
    return std::chrono::steady_clock::now();
}

inline double millisecondsBetween(Time start, Time end) {
    return Milliseconds(end - start).count();
}

/// The smallest sample such that at least `share` of all samples are not larger; 0.5 gives the
/// median. NaN without samples.
double quantile(std::vector<double> samples, double share);

inline double median(std::vector<double> samples) {
    return quantile(std::move(samples), 0.5);
}

/// A number with `decimals` digits after the decimal point.
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

/// Prints one line: name, value, target, and whether the value meets it; returns the latter.
bool report(const Figure& figure);

/// Prints the line of a figure that was not measured, with the reason.
void reportSkipped(const std::string& name, const std::string& reason);

/// Prints on standard error why the measurement failed, and ends the program with status 1.
[[noreturn]] void giveUp(const std::string& reason);

/// Gives up for this reason unless `condition` is true.
void need(bool condition, const std::string& reason);

} // namespace kestrelnet::benchmarks
