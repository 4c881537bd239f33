// SPDX-License-Identifier: MIT
// The cost of each step in handling the client's output, for one chunk of ordinary lines.

#include "core/ClientOutput.h"
#include "platform/Text.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using namespace kestrelnet;

constexpr std::string_view line = "keepalive from peer 10.20.30.40, round trip 12 ms, sequence 777";
constexpr std::size_t chunkSize = 65536;

std::string chunk() {
    std::string result;
    while (result.size() < chunkSize) {
        result.append(line).push_back('\n');
    }
    return result;
}

void countBytes(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(chunk().size()));
}

void validate(benchmark::State& state) {
    const std::string text = chunk();
    for ([[maybe_unused]] const auto turn : state) {
        benchmark::DoNotOptimize(text::isValidUtf8(text));
    }
    countBytes(state);
}
BENCHMARK(validate);

void split(benchmark::State& state) {
    const std::string text = chunk();
    for ([[maybe_unused]] const auto turn : state) {
        forEachLine(text, [](std::string_view piece) { benchmark::DoNotOptimize(piece); });
    }
    countBytes(state);
}
BENCHMARK(split);

void log(benchmark::State& state) {
    const std::string text = chunk();
    RollingLog lines(200);
    for ([[maybe_unused]] const auto turn : state) {
        forEachLine(text, [&lines](std::string_view piece) { lines.append(piece); });
    }
    countBytes(state);
}
BENCHMARK(log);

void findMarkers(benchmark::State& state) {
    const std::string text = chunk();
    for ([[maybe_unused]] const auto turn : state) {
        forEachLine(text,
                    [](std::string_view piece) { benchmark::DoNotOptimize(markerGroup(piece)); });
    }
    countBytes(state);
}
BENCHMARK(findMarkers);

} // namespace

BENCHMARK_MAIN();
