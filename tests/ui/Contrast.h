// SPDX-License-Identifier: MIT
// The contrast of two colours, as the accessibility guidelines define it.
#pragma once

#include <QColor>

#include <algorithm>
#include <cmath>

namespace kestrelnet {

/// The least contrast for text of any size.
inline constexpr double readable = 4.5;
/// The least contrast for symbols, and for what identifies a control.
inline constexpr double distinct = 3;

inline double luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

inline double contrast(const QColor& one, const QColor& other) {
    const auto [low, high] = std::minmax({luminance(one), luminance(other)});
    return (high + 0.05) / (low + 0.05);
}

} // namespace kestrelnet
