// SPDX-License-Identifier: MIT
#include "ui/HelperAlert.h"

#include "ui/Colors.h"
#include "ui/Symbols.h"

#include <QGridLayout>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QSpacerItem>

#include <utility>

namespace kestrelnet {

namespace {

constexpr int symbolSide = 48;
constexpr int textWidth = 400;

} // namespace

HelperAlert::HelperAlert(QWidget* parent, std::function<void()> install) : QMessageBox(parent) {
    const QString title = QStringLiteral("Install Privileged Helper?");
    setAttribute(Qt::WA_DeleteOnClose);
    setModal(false);
    setTextFormat(Qt::PlainText);
    setWindowTitle(title);
    setText(title);
    setInformativeText(
        QStringLiteral("Kestrelnet needs a one-time helper install to connect without asking for "
                       "your password each time. This requires admin privileges."));

    QPixmap symbol(QSize(symbolSide, symbolSide) * devicePixelRatio());
    symbol.setDevicePixelRatio(devicePixelRatio());
    symbol.fill(Qt::transparent);
    QPainter painter(&symbol);
    paintSymbol(painter, "lock.shield", QRectF(0, 0, symbolSide, symbolSide),
                textColor(ColorRole::accent, palette()));
    painter.end();
    setIconPixmap(symbol);

    auto* const accept = addButton(QStringLiteral("Install"), QMessageBox::AcceptRole);
    auto* const later = addButton(QStringLiteral("Later"), QMessageBox::RejectRole);
    setDefaultButton(accept);
    setEscapeButton(later);
    QObject::connect(accept, &QPushButton::clicked, this, std::move(install));

    // The box takes its width from the short title otherwise.
    auto* const grid = qobject_cast<QGridLayout*>(layout());
    grid->addItem(new QSpacerItem(textWidth, 0), grid->rowCount(), 0, 1, grid->columnCount());
}

} // namespace kestrelnet
