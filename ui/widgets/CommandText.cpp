// SPDX-License-Identifier: MIT
#include "ui/widgets/CommandText.h"

#include "ui/style/Colors.h"
#include "ui/style/TextStyle.h"

#include <QFocusEvent>
#include <QPainter>

namespace kestrelnet {

CommandText::CommandText(ColorRole color, int width, QWidget* parent)
    : QLabel(parent), color_(color) {
    setTextFormat(Qt::PlainText);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setFocusPolicy(Qt::StrongFocus);
    setFont(monospacedFont(TextStyle::caption2));
    setWordWrap(true);
    setFixedWidth(width);
    applyColor();
}

void CommandText::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        applyColor();
    }
}

void CommandText::focusInEvent(QFocusEvent* event) {
    QLabel::focusInEvent(event);
    if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason) {
        setSelection(0, static_cast<int>(text().size()));
    }
}

void CommandText::paintEvent(QPaintEvent* event) {
    QLabel::paintEvent(event);
    if (hasFocus()) {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(textColor(ColorRole::accent), 1));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    }
}

void CommandText::applyColor() {
    QPalette own = palette();
    const QColor color = textColor(color_);
    if (own.color(foregroundRole()) != color) {
        own.setColor(foregroundRole(), color);
        setPalette(own);
    }
}

} // namespace kestrelnet
