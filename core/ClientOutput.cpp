// SPDX-License-Identifier: MIT
#include "core/ClientOutput.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

namespace kestrelnet {

namespace {

struct Marker {
    MarkerGroup group;
    std::string_view text;
};

/// In the order of the tests: the first marker that the line contains decides.
constexpr std::array markers{
    Marker{MarkerGroup::routes, "Full-tunnel:"},
    Marker{MarkerGroup::routes, "Split-tunnel routes:"},
    Marker{MarkerGroup::routes, "applied routes"},
    Marker{MarkerGroup::routes, "setup_routing"},
    Marker{MarkerGroup::relay, "Direct connection established"},
    Marker{MarkerGroup::relay, "Connected to relay"},
    Marker{MarkerGroup::reconnect, "Reconnecting"},
    Marker{MarkerGroup::reconnect, "Network changed"},
    Marker{MarkerGroup::error, "error"},
    Marker{MarkerGroup::error, "Error"},
    Marker{MarkerGroup::error, "failed"},
    Marker{MarkerGroup::server, "Discovered home server:"},
    Marker{MarkerGroup::server, "server:"},
};

constexpr std::string_view locationPrefix = "server: ";

/// Each marker contains one of these, and other text rarely does.
constexpr std::array<std::string_view, 10> rarePairs{"rr", "_r", "fa", "r:", "-t",
                                                     "pp", "Di", "Co", "Re", "Ne"};

static_assert(std::all_of(markers.begin(), markers.end(), [](const Marker& marker) {
    return std::any_of(rarePairs.begin(), rarePairs.end(), [&marker](std::string_view pair) {
        return marker.text.find(pair) != std::string_view::npos;
    });
}));

/// Of the bytes that are tested together.
constexpr std::size_t blockSize = 64;

/// Compared element by element, with the processor's instructions for that.
using Bytes [[gnu::vector_size(16)]] = signed char;

Bytes load(const char* bytes) {
    Bytes result;
    std::memcpy(&result, bytes, sizeof result);
    return result;
}

/// Which bytes of `first` begin a rare pair, when `second` has the bytes that follow them.
template <std::size_t... index>
Bytes pairs(Bytes first, Bytes second, std::index_sequence<index...>) {
    return (... | ((first == rarePairs[index][0]) & (second == rarePairs[index][1])));
}

/// Whether one of `blockSize` bytes begins a rare pair. Reads one byte more.
bool hasRarePair(const char* block) {
    Bytes found{};
    for (std::size_t at = 0; at < blockSize; at += sizeof(Bytes)) {
        found |= pairs(load(block + at), load(block + at + 1),
                       std::make_index_sequence<rarePairs.size()>());
    }
    std::array<std::uint64_t, sizeof(Bytes) / sizeof(std::uint64_t)> words{};
    std::memcpy(words.data(), &found, sizeof found);
    return std::any_of(words.begin(), words.end(), [](std::uint64_t word) { return word != 0; });
}

} // namespace

MarkerGroup markerGroup(std::string_view line) {
    const auto found = std::find_if(markers.begin(), markers.end(), [line](const Marker& marker) {
        return line.find(marker.text) != std::string_view::npos;
    });
    return found == markers.end() ? MarkerGroup::none : found->group;
}

MarkerGroup MarkerSearch::groupOf(std::string_view line) {
    const auto begin = static_cast<std::size_t>(line.data() - chunk_.data());
    const std::size_t end = begin + line.size();
    clear_ = std::max(clear_, begin);
    while (clear_ < end && isBlockClear(clear_)) {
        clear_ += blockSize;
    }
    return clear_ < end ? markerGroup(line) : MarkerGroup::none;
}

/// Whether no rare pair begins in the block at this position. False when the chunk ends in it.
bool MarkerSearch::isBlockClear(std::size_t at) const {
    return at + blockSize < chunk_.size() && !hasRarePair(chunk_.data() + at);
}

std::optional<std::string_view> serverLocation(std::string_view line) {
    const std::size_t start = line.find(locationPrefix);
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    line.remove_prefix(start + locationPrefix.size());
    return line.substr(0, line.find(' '));
}

void RollingLog::append(std::string_view line) {
    if (lines_.size() < capacity_) {
        lines_.emplace_back(line);
        return;
    }
    lines_[oldest_] = line;
    if (++oldest_ == capacity_) {
        oldest_ = 0;
    }
}

void RollingLog::clear() {
    lines_.clear();
    oldest_ = 0;
}

std::vector<std::string> RollingLog::lines() const {
    std::vector<std::string> result = lines_;
    std::rotate(result.begin(), result.begin() + static_cast<std::ptrdiff_t>(oldest_),
                result.end());
    return result;
}

} // namespace kestrelnet
