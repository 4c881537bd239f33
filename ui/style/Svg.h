// SPDX-License-Identifier: MIT
#pragma once

class QByteArray;
class QPainter;
class QRectF;

namespace kestrelnet {

/// Draws `source`, an SVG drawing, into `place`; nothing when it is none. The library that can do
/// this is loaded at the first call: a program that shows no window needs none.
void paintSvg(QPainter& painter, const QByteArray& source, const QRectF& place);

/// The one function that the module with that library offers, by name.
using PaintSvg = void(QPainter& painter, const QByteArray& source, const QRectF& place);
inline constexpr char paintSvgName[] = "kestrelnetPaintSvg";

} // namespace kestrelnet
