// SPDX-License-Identifier: MIT
// What the lines of the client's output mean, apart from what is done about them.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelnet {

/// The group of markers that a line holds, in the order in which they are looked for.
enum class MarkerGroup { routes, relay, reconnect, error, server, none };

/// The first group with a marker anywhere in `line`; case matters.
MarkerGroup markerGroup(std::string_view line);

/// The word behind the first "server: " in `line`, up to the next space; it may be empty. None when
/// there is no such place.
std::optional<std::string_view> serverLocation(std::string_view line);

/// Calls `visit` for each non-empty piece of `chunk` between line feeds, in order.
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

/// The latest lines, oldest first, a fixed number at most.
class RollingLog {
  public:
    explicit RollingLog(std::size_t capacity) : capacity_(capacity) {}

    /// Appends `line`, and drops the oldest one when there were as many as fit.
    void append(std::string_view line);
    void clear();
    std::vector<std::string> lines() const;

  private:
    std::size_t capacity_;
    std::vector<std::string> ring_;
    std::size_t oldest_ = 0;
};

} // namespace kestrelnet
