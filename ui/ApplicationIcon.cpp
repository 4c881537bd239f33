// SPDX-License-Identifier: MIT
#include "ui/ApplicationIcon.h"

#include <QIcon>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace kestrelnet {

QIcon applicationIcon() {
    QSvgRenderer drawing(QStringLiteral(":/icons/com.kestrelnetvpn.app.svg"));
    QIcon icon;
    // Title bars and lists of windows take the one, switchers the other.
    for (const int side : {32, 64}) {
        QPixmap picture(side, side);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        drawing.render(&painter, QRectF(0, 0, side, side));
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}

} // namespace kestrelnet
