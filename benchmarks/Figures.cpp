// SPDX-License-Identifier: MIT
#include "benchmarks/Figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace kestrelnet::benchmarks {

namespace {

bool holds(const Figure& figure) {
    switch (figure.bound) {
    case Bound::atMost:
        return figure.value <= figure.target;
    case Bound::atLeast:
        return figure.value >= figure.target;
    case Bound::below:
        return figure.value < figure.target;
    }
    return false;
}

const char* words(Bound bound) {
    switch (bound) {
    case Bound::atMost:
        return "at most";
    case Bound::atLeast:
        return "at least";
    case Bound::below:
        return "below";
    }
    return "";
}

} // namespace

double quantile(std::vector<double> samples, double share) {
    if (samples.empty()) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    const auto rank = std::ceil(share * static_cast<double>(samples.size()));
    const auto place = samples.begin() + std::max<std::ptrdiff_t>(std::lround(rank) - 1, 0);
    std::nth_element(samples.begin(), place, samples.end());
    return *place;
}

std::string number(double value, int decimals) {
    char text[64];
    static_cast<void>(std::snprintf(text, sizeof text, "%.*f", decimals, value));
    return text;
}

bool report(const Figure& figure) {
    const std::string value = number(figure.value, figure.decimals) + figure.unit;
    const std::string target = std::string(words(figure.bound)) + ' ' +
                               number(figure.target, figure.decimals) + figure.unit;
    const std::string detail = figure.detail.empty() ? "" : "  (" + figure.detail + ')';
    static_cast<void>(std::printf("%-66s %9s   %-18s %s%s\n", figure.name.c_str(), value.c_str(),
                                  target.c_str(), holds(figure) ? "holds " : "misses",
                                  detail.c_str()));
    static_cast<void>(std::fflush(stdout));
    return holds(figure);
}

void reportSkipped(const std::string& name, const std::string& reason) {
    static_cast<void>(std::printf("%-66s skipped: %s\n", name.c_str(), reason.c_str()));
    static_cast<void>(std::fflush(stdout));
}

void giveUp(const std::string& reason) {
    static_cast<void>(std::fprintf(stderr, "Not measured: %s\n", reason.c_str()));
    std::exit(1);
}

void need(bool condition, const std::string& reason) {
    if (!condition) {
        giveUp(reason);
    }
}

} // namespace kestrelnet::benchmarks
