// SPDX-License-Identifier: MIT
// The cost of each step in handling the client's output, for one chunk of ordinary lines.

#include "core/ClientOutput.h"
#include "core/Observable.h"
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
        MarkerSearch search(text);
        forEachLine(text, [&search](std::string_view piece) {
            benchmark::DoNotOptimize(search.groupOf(piece));
        });
    }
    countBytes(state);
}
BENCHMARK(findMarkers);

void publish(benchmark::State& state) {
    const std::string text = chunk();
    ObservableObjectPublisher publisher;
    Published<std::string> lastLog(publisher);
    std::size_t notices = 0;
    const auto subscription = publisher.subscribe([&notices] { ++notices; });
    for ([[maybe_unused]] const auto turn : state) {
        forEachLine(text, [&](std::string_view piece) { lastLog = piece; });
    }
    benchmark::DoNotOptimize(notices);
    countBytes(state);
}
BENCHMARK(publish);

} // namespace

BENCHMARK_MAIN();
