// SPDX-License-Identifier: MIT
// The reading side of first-instruction.cpp.
#pragma once

#include "benchmarks/Figures.h"

#include <ctime>
#include <unistd.h>

namespace kestrelnet::benchmarks {

/// Waits for the client that has the other end of `pipe`; returns the time of its first
/// instruction.
inline Time readFirstInstruction(int pipe) {
    timespec time{};
    need(::read(pipe, &time, sizeof time) == sizeof time, "the client did not write the time");
    return Time(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

} // namespace kestrelnet::benchmarks
