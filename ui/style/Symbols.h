// SPDX-License-Identifier: MIT
// The drawn symbols, compiled in from resources/symbols: one family on a grid of 24 by 24.
#pragma once

#include <string_view>

class QColor;
class QPainter;
class QRectF;

namespace kestrelnet {

/// Draws the symbol `name` in one colour. Vectors all the way, so sharp at any scale of `painter`.
/// Draws nothing when there is no such symbol.
void paintSymbol(QPainter& painter, std::string_view name, const QRectF& place,
                 const QColor& color);

} // namespace kestrelnet
