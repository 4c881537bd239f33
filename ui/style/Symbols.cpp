// SPDX-License-Identifier: MIT
#include "ui/style/Symbols.h"

#include "ui/style/QtText.h"
#include "ui/style/Svg.h"

#include <QByteArray>
#include <QColor>
#include <QFile>
#include <QPainter>
#include <QString>

namespace kestrelnet {

namespace {

QByteArray symbolSource(std::string_view name) {
    const QString path =
        QStringLiteral(":/symbols/%1.svg")
            .arg(QLatin1StringView(name.data(), static_cast<qsizetype>(name.size())));
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

void paintSymbol(QPainter& painter, std::string_view name, const QRectF& place,
                 const QColor& color) {
    QByteArray source = symbolSource(name);
    if (source.isEmpty()) {
        return;
    }
    source.replace("currentColor", color.name().toLatin1());
    paintSvg(painter, source, place);
}

} // namespace kestrelnet
