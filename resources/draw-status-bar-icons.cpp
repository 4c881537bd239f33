// SPDX-License-Identifier: MIT
// draw-status-bar-icons [--shape] SYMBOLS FILE...: a build tool that draws the status bar's icons
// from the drawings in the folder SYMBOLS. The name of a FILE consists of the symbol and the size,
// for example lock.shield-22.argb.
//
// The colour of the status bar is unknown. So the symbol is light, on a slightly larger dark
// shield, and is visible on every background. With --shape, the status bar draws the icon in its
// own colours and uses only the picture's opacity; then there is only the symbol.

#include <QByteArray>
#include <QColor>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QString>
#include <QSvgRenderer>

#include <array>
#include <cstdio>
#include <string_view>

namespace {

constexpr QRgb light = 0xffffffff;
/// So that the filled shield differs from the outlined one on a light status bar too.
constexpr QRgb lightFilling = 0xff6fdc92;
constexpr QRgb dark = 0xff3a3d42;
constexpr std::array<QPointF, 8> compass{
    {{1, 0}, {0.7, 0.7}, {0, 1}, {-0.7, 0.7}, {-1, 0}, {-0.7, -0.7}, {0, -1}, {0.7, -0.7}}};

QByteArray drawing(const QString& folder, const QString& symbol, QRgb color) {
    QFile file(folder + QLatin1Char('/') + symbol + QStringLiteral(".svg"));
    QByteArray source = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return source.replace("currentColor", QColor::fromRgb(color).name().toLatin1());
}

bool draw(const QString& folder, const QString& path, bool isShape) {
    const QString name = QFileInfo(path).completeBaseName();
    const QString symbol = name.section(QLatin1Char('-'), 0, 0);
    const int side = name.section(QLatin1Char('-'), 1).toInt();
    const bool isFilled = symbol.endsWith(QStringLiteral(".fill"));
    QSvgRenderer ground(drawing(folder, QStringLiteral("shield.fill"), dark));
    QSvgRenderer shield(drawing(folder, symbol, isFilled ? lightFilling : light));
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    if (!ground.isValid() || !shield.isValid() || image.isNull()) {
        return false;
    }
    image.fill(Qt::transparent);
    QPainter painter(&image);
    const QRectF place(0, 0, side, side);
    const qreal edgeWidth = side / 24.0;
    if (!isShape) {
        for (const QPointF& direction : compass) {
            ground.render(&painter, place.translated(direction * edgeWidth));
        }
    }
    shield.render(&painter, place);
    painter.end();
    QFile file(path);
    return file.open(QIODevice::WriteOnly) &&
           file.write(reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()) ==
               image.sizeInBytes();
}

} // namespace

int main(int argc, char* argv[]) {
    const bool isShape = argc > 1 && std::string_view(argv[1]) == "--shape";
    const int folder = isShape ? 2 : 1;
    for (int i = folder + 1; i < argc; ++i) {
        if (!draw(QString::fromLocal8Bit(argv[folder]), QString::fromLocal8Bit(argv[i]), isShape)) {
            static_cast<void>(std::fprintf(stderr, "%s could not be drawn\n", argv[i]));
            return 1;
        }
    }
    return 0;
}
