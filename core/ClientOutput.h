// SPDX-License-Identifier: MIT
// Parses the client's output. TunnelManager acts on the result.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

/// The groups of markers, in the order in which a line is tested for them.
enum class MarkerGroup { routes, relay, reconnect, error, server, none };

/// The first group with a marker anywhere in `line`. Case-sensitive.
MarkerGroup markerGroup(std::string_view line);

/// The text between the first "server: " in `line` and the next space, possibly empty. No value
/// when `line` does not contain "server: ".
std::optional<std::string_view> serverLocation(std::string_view line);

/// Splits `chunk` at line feeds and calls `visit` for each piece that is not empty, in order.
template <typename Visit>
void forEachLine(std::string_view chunk, Visit visit) {
    while (!chunk.empty()) {
        const std::size_t end = chunk.find('\n');
        const std::string_view line = chunk.substr(0, end);
        if (!line.empty()) {
            visit(line);
        }
        chunk.remove_prefix(end == std::string_view::npos ? chunk.size() : end + 1);
    }
}

/// The latest lines, oldest first.
class RollingLog {
  public:
    /// Keeps at most `capacity` lines, which must be at least 1.
    explicit RollingLog(std::size_t capacity) : capacity_(capacity) {}

    /// Appends `line`. When the log is full, removes the oldest line.
    void append(std::string_view line);
    void clear() { lines_.clear(); }
    std::vector<std::string> lines() const { return {lines_.begin(), lines_.end()}; }

  private:
    std::size_t capacity_;
    std::deque<std::string> lines_;
};

} // namespace kestrelnet
