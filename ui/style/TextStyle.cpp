// SPDX-License-Identifier: MIT
#include "ui/style/TextStyle.h"

#include <QApplication>
#include <QFontDatabase>

namespace kestrelnet {

namespace {

double proportion(TextStyle style) {
    switch (style) {
    case TextStyle::title2:
        return 1.3;
    case TextStyle::caption:
        return 0.88;
    case TextStyle::caption2:
        return 0.8;
    case TextStyle::headline:
    case TextStyle::body:
        break;
    }
    return 1;
}

} // namespace

QFont textFont(TextStyle style) {
    QFont result = QApplication::font();
    if (result.pointSizeF() > 0) {
        result.setPointSizeF(result.pointSizeF() * proportion(style));
    } else {
        result.setPixelSize(qRound(result.pixelSize() * proportion(style)));
    }
    if (style == TextStyle::headline) {
        result.setWeight(QFont::DemiBold);
    }
    return result;
}

QFont monospacedFont(TextStyle style) {
    QFont result = textFont(style);
    result.setFamilies(QFontDatabase::systemFont(QFontDatabase::FixedFont).families());
    result.setFixedPitch(true);
    return result;
}

} // namespace kestrelnet
