// SPDX-License-Identifier: MIT
#include "ui/style/Svg.h"

#include "platform/Module.h"

namespace kestrelnet {

void paintSvg(QPainter& painter, const QByteArray& source, const QRectF& place) {
    static auto* const paint =
        reinterpret_cast<PaintSvg*>(moduleFunction(KESTRELNET_DRAWING_MODULE, paintSvgName));
    if (paint != nullptr) {
        paint(painter, source, place);
    }
}

} // namespace kestrelnet
