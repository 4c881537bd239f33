// SPDX-License-Identifier: MIT
#include "ui/StatusBarIcon.h"

#include "ui/Symbols.h"

#include <QColor>
#include <QPainter>

#include <array>

namespace kestrelnet {

namespace {

constexpr std::string_view filledSymbol = "lock.shield.fill";
constexpr std::array sides{16, 22, 24, 32, 44, 48, 64};
constexpr QRgb light = 0xffffffff;
/// Tells the filled shield from an empty one where the status bar is as light as it is.
constexpr QRgb lightFilling = 0xff6fdc92;
constexpr QRgb dark = 0xff3a3d42;
constexpr std::array<QPointF, 8> compass{
    {{1, 0}, {0.7, 0.7}, {0, 1}, {-0.7, 0.7}, {-1, 0}, {-0.7, -0.7}, {0, -1}, {0.7, -0.7}}};

} // namespace

QPixmap statusBarPixmap(std::string_view symbol, int side) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    const QRectF place(0, 0, side, side);
    const qreal edgeWidth = side / 24.0;
    for (const QPointF& direction : compass) {
        paintSymbol(painter, "shield.fill", place.translated(direction * edgeWidth),
                    QColor::fromRgb(dark));
    }
    paintSymbol(painter, symbol, place,
                QColor::fromRgb(symbol == filledSymbol ? lightFilling : light));
    return pixmap;
}

QIcon statusBarIcon(std::string_view symbol) {
    QIcon icon;
    for (const int side : sides) {
        icon.addPixmap(statusBarPixmap(symbol, side));
    }
    return icon;
}

} // namespace kestrelnet
