// SPDX-License-Identifier: MIT
#include "core/ClientOutput.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace kestrelnet {

namespace {

/// The pairs of neighbouring characters in `text`, each folded into one of 64 bits: a text can only
/// hold another when it has all of the other's bits.
constexpr std::uint64_t pairBits(std::string_view text) {
    std::uint64_t bits = 0;
    for (std::size_t next = 1; next < text.size(); ++next) {
        const auto first = static_cast<unsigned char>(text[next - 1]);
        const auto second = static_cast<unsigned char>(text[next]);
        bits |= std::uint64_t{1} << ((first * 31U + second) % 64U);
    }
    return bits;
}

struct Marker {
    constexpr Marker(MarkerGroup itsGroup, std::string_view itsText)
        : group(itsGroup), text(itsText), bits(pairBits(itsText)) {}

    MarkerGroup group;
    std::string_view text;
    std::uint64_t bits;
};

/// In the order in which they are looked for.
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

} // namespace

MarkerGroup markerGroup(std::string_view line) {
    // Most lines hold no marker, and most markers have a pair that the line has not: searching for
    // each of them all the same would be most of what handling a line costs.
    const std::uint64_t bits = pairBits(line);
    const auto found = std::find_if(markers.begin(), markers.end(), [&](const Marker& marker) {
        return (marker.bits & ~bits) == 0 && line.find(marker.text) != std::string_view::npos;
    });
    return found == markers.end() ? MarkerGroup::none : found->group;
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
    if (ring_.size() < capacity_) {
        ring_.emplace_back(line);
        return;
    }
    ring_[oldest_] = line;
    oldest_ = (oldest_ + 1) % capacity_;
}

void RollingLog::clear() {
    ring_.clear();
    oldest_ = 0;
}

std::vector<std::string> RollingLog::lines() const {
    std::vector<std::string> result = ring_;
    std::rotate(result.begin(), result.begin() + static_cast<std::ptrdiff_t>(oldest_),
                result.end());
    return result;
}

} // namespace kestrelnet
