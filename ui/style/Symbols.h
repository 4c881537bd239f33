// SPDX-License-Identifier: MIT
// The symbols, compiled in from resources/symbols. All are drawn on a grid of 24 by 24.
#pragma once

#include <string_view>

class QColor;
class QPainter;
class QRectF;

namespace kestrelnet {

/// Draws the symbol `name` in one colour, as vectors, so that it is sharp at any scale of
/// `painter`. Draws nothing if there is no such symbol.
void paintSymbol(QPainter& painter, std::string_view name, const QRectF& place,
                 const QColor& color);

} // namespace kestrelnet
