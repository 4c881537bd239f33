// SPDX-License-Identifier: MIT
// Parses the client's output. TunnelManager acts on the result.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

/// The groups of markers, in the order in which a line is tested for them.
enum class MarkerGroup { routes, relay, reconnect, error, server, none };

/// The first group with a marker anywhere in `line`. Case-sensitive.
MarkerGroup markerGroup(std::string_view line);

/// Finds the groups of the lines of one chunk, much faster than markerGroup() alone: most lines
/// contain no marker, and many bytes at a time are tested for that.
class MarkerSearch {
  public:
    /// The text of `chunk` must outlive this object.
    explicit MarkerSearch(std::string_view chunk) : chunk_(chunk) {}

    /// The same as markerGroup(line). `line` is part of the chunk, behind that of the last call.
    MarkerGroup groupOf(std::string_view line);

  private:
    bool isBlockClear(std::size_t at) const;

    std::string_view chunk_;
    /// From the line of the last call up to here, no marker begins.
    std::size_t clear_ = 0;
};

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

    /// Appends `line`. When the log is full, it replaces the oldest line, whose memory it uses.
    void append(std::string_view line);
    void clear();
    std::vector<std::string> lines() const;

  private:
    std::size_t capacity_;
    std::vector<std::string> lines_;
    /// The place of the oldest line in a full log; 0 before.
    std::size_t oldest_ = 0;
};

} // namespace kestrelnet
