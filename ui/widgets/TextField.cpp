// SPDX-License-Identifier: MIT
#include "ui/widgets/TextField.h"

#include "ui/style/Colors.h"
#include "ui/style/TextStyle.h"

#include <QPainter>

#include <limits>

namespace kestrelnet {

namespace {

constexpr qreal cornerRadius = 6;
constexpr int padding = 6;

} // namespace

TextField::TextField(QWidget* parent) : QLineEdit(parent) {
    setFrame(false);
    setTextMargins(padding + 2, padding, padding + 2, padding);
    // A pasted text must not be shortened.
    setMaxLength(std::numeric_limits<int>::max());
}

QSize TextField::sizeHint() const {
    // The same height for both fonts of a key.
    const int text = std::max(QFontMetrics(textFont(TextStyle::body)).height(),
                              QFontMetrics(monospacedFont(TextStyle::body)).height());
    return {QLineEdit::sizeHint().width(), text + 2 * (padding + 1)};
}

void TextField::paintEvent(QPaintEvent* event) {
    QLineEdit::paintEvent(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal width = hasFocus() ? 2 : 1;
    painter.setPen(QPen(hasFocus() ? textColor(ColorRole::accent) : outlineColor(), width));
    const qreal inset = width / 2;
    painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), cornerRadius,
                            cornerRadius);
}

} // namespace kestrelnet
