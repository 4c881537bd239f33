// SPDX-License-Identifier: MIT
// The module that Svg.cpp loads.
#include "ui/style/Svg.h"

#include <QByteArray>
#include <QRectF>
#include <QSvgRenderer>

namespace kestrelnet {

extern "C" Q_DECL_EXPORT void kestrelnetPaintSvg(QPainter& painter, const QByteArray& source,
                                                 const QRectF& place) {
    QSvgRenderer(source).render(&painter, place);
}

} // namespace kestrelnet
