// SPDX-License-Identifier: MIT
#pragma once

class QByteArray;
class QPainter;
class QRectF;

namespace kestrelnet {

/// Draws `source`, an SVG drawing, into `place`. Draws nothing if it is not valid. The first call
/// loads the SVG library, because a program that shows no window does not need it.
void paintSvg(QPainter& painter, const QByteArray& source, const QRectF& place);

/// The function that the module with the SVG library exports, and its name.
using PaintSvg = void(QPainter& painter, const QByteArray& source, const QRectF& place);
inline constexpr char paintSvgName[] = "kestrelnetPaintSvg";

} // namespace kestrelnet
