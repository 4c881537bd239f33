// SPDX-License-Identifier: MIT
#include "ui/shell/StatusBarIcon.h"

#include "ui/style/QtText.h"

#include <QByteArray>
#include <QIconEngine>
#include <QImage>
#include <QPixmap>
#include <QResource>
#include <QStandardPaths>

#include <algorithm>
#include <utility>

namespace kestrelnet {

namespace {

/// The symbol in all sizes that status bars use.
QIcon pictures(std::string_view symbol) {
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

/// The symbol's name in "hicolor", the fallback of all icon themes; empty if it is not installed.
QString installedName(std::string_view symbol) {
    const QString name = symbol == "lock.shield.fill"
                             ? QStringLiteral("com.kestrelnetvpn.app-connected-symbolic")
                             : QStringLiteral("com.kestrelnetvpn.app-disconnected-symbolic");
    const QString file = QStringLiteral("icons/hicolor/symbolic/apps/%1.svg").arg(name);
    const QString found = QStandardPaths::locate(QStandardPaths::GenericDataLocation, file);
    return found.isEmpty() ? QString() : name;
}

class StatusBarIconEngine final : public QIconEngine {
  public:
    explicit StatusBarIconEngine(std::string_view symbol)
        : name_(installedName(symbol)), pictures_(pictures(symbol)) {}

    QString iconName() override { return name_; }
    bool isNull() override { return pictures_.isNull(); }
    QIconEngine* clone() const override { return new StatusBarIconEngine(*this); }

    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override {
        return pictures_.availableSizes(mode, state);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return pictures_.pixmap(size, 1, mode, state);
    }
    void paint(QPainter* painter, const QRect& place, QIcon::Mode mode,
               QIcon::State state) override {
        pictures_.paint(painter, place, Qt::AlignCenter, mode, state);
    }

  private:
    QString name_;
    QIcon pictures_;
};

} // namespace

QIcon statusBarIcon(std::string_view symbol, bool drawsShapeOnly) {
    QIcon icon(new StatusBarIconEngine(symbol));
    icon.setIsMask(drawsShapeOnly);
    return icon;
}

} // namespace kestrelnet
