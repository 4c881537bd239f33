// SPDX-License-Identifier: MIT
// What the flooding client writes, as both sides of the measurement know it.
#pragma once

#include <cstddef>

namespace kestrelnet::benchmarks::flood {

/// With the line feed.
inline constexpr std::size_t lineSize = 64;
inline constexpr std::size_t byteCount = std::size_t{256} << 20;
inline constexpr std::size_t lineCount = byteCount / lineSize;

/// The word that the last line, which comes after all the others, gives as the server's name.
inline constexpr char lastServer[] = "end-of-flood";

} // namespace kestrelnet::benchmarks::flood
