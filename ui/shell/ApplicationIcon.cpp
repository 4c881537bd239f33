// SPDX-License-Identifier: MIT
#include "ui/shell/ApplicationIcon.h"

#include "ui/style/Svg.h"

#include <QByteArray>
#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QResource>

namespace kestrelnet {

QIcon applicationIcon() {
    const QByteArray drawing =
        QResource(QStringLiteral(":/icons/com.kestrelnetvpn.app.svg")).uncompressedData();
    QIcon icon;
    // Title bars and lists of windows take the one, switchers the other.
    for (const int side : {32, 64}) {
        QPixmap picture(side, side);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paintSvg(painter, drawing, QRectF(0, 0, side, side));
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

} // namespace kestrelnet
