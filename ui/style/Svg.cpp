// SPDX-License-Identifier: MIT
#include "ui/style/Svg.h"

#include "platform/Module.h"

#include <cstdio>
#include <string>

namespace kestrelnet {

namespace {

/// Null when the module cannot be loaded.
PaintSvg* loadPaintSvg() {
    std::string reason;
    void* const found = moduleFunction(KESTRELNET_DRAWING_MODULE, paintSvgName, reason);
    if (found == nullptr) {
        // Written even when logging is off: the installation is incomplete.
        static_cast<void>(std::fprintf(stderr, "A module cannot be used: %s\n", reason.c_str()));
    }
    return reinterpret_cast<PaintSvg*>(found);
}

} // namespace

void paintSvg(QPainter& painter, const QByteArray& source, const QRectF& place) {
    static auto* const paint = loadPaintSvg();
    if (paint != nullptr) {
        paint(painter, source, place);
    }
}

} // namespace kestrelnet
