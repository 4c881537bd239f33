// SPDX-License-Identifier: MIT
// draw-application-icon DRAWING FOLDER: writes the drawing in the sizes, and with the file names,
// of an icon of macOS.
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QString>
#include <QSvgRenderer>

#include <cstdio>
#include <cstdlib>

namespace {

bool draw(QSvgRenderer& drawing, int side, const QString& path) {
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter);
    painter.end();
    return image.save(path, "PNG");
}

} // namespace

int main(int count, char** arguments) {
    if (count != 3) {
        std::fputs("usage: draw-application-icon DRAWING FOLDER\n", stderr);
        return EXIT_FAILURE;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(count, arguments);
    QSvgRenderer drawing(QFile::decodeName(arguments[1]));
    const QDir folder(QFile::decodeName(arguments[2]));
    bool done = drawing.isValid() && folder.mkpath(QStringLiteral("."));
    for (const int side : {16, 32, 128, 256, 512}) {
        const QString name = QStringLiteral("icon_%1x%1").arg(side);
        done = done && draw(drawing, side, folder.filePath(name + QStringLiteral(".png"))) &&
               draw(drawing, 2 * side, folder.filePath(name + QStringLiteral("@2x.png")));
    }
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
