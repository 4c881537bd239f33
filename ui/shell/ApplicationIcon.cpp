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
    // The small one is for title bars and task lists, the large one for window switchers.
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
