// SPDX-License-Identifier: MIT
#include "ui/StatusBarIcon.h"

#include "ui/QtText.h"

#include <QByteArray>
#include <QImage>
#include <QPixmap>
#include <QResource>

#include <algorithm>
#include <utility>

namespace kestrelnet {

QIcon statusBarIcon(std::string_view symbol) {
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 44, 48, 64}) {
        const QString path =
            QStringLiteral(":/status-bar/%1-%2.argb").arg(qtText(symbol)).arg(side);
        const QByteArray pixels = QResource(path).uncompressedData();
        QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
        if (pixels.size() == image.sizeInBytes()) {
            std::copy(pixels.begin(), pixels.end(), image.bits());
            icon.addPixmap(QPixmap::fromImage(std::move(image)));
        }
    }
    return icon;
}

} // namespace kestrelnet
