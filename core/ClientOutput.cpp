// SPDX-License-Identifier: MIT
#include "core/ClientOutput.h"

#include <algorithm>
#include <array>
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

} // namespace

MarkerGroup markerGroup(std::string_view line) {
    const auto found = std::find_if(markers.begin(), markers.end(), [line](const Marker& marker) {
        return line.find(marker.text) != std::string_view::npos;
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
    std::string text;
    if (lines_.size() == capacity_) {
        // Reuses the memory of the oldest line.
        text = std::move(lines_.front());
        lines_.pop_front();
    }
    text = line;
    lines_.push_back(std::move(text));
}

} // namespace kestrelnet
