// SPDX-License-Identifier: MIT
// The output of the flooding client, known to both sides of the measurement.
#pragma once

#include <cstddef>

namespace kestrelnet::benchmarks::flood {

/// Including the line feed.
inline constexpr std::size_t lineSize = 64;
inline constexpr std::size_t byteCount = std::size_t{256} << 20;
inline constexpr std::size_t lineCount = byteCount / lineSize;

/// The server's name in the line that follows all the others.
inline constexpr char lastServer[] = "end-of-flood";

} // namespace kestrelnet::benchmarks::flood
