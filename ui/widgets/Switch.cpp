// SPDX-License-Identifier: MIT
#include "ui/widgets/Switch.h"

#include "ui/style/Colors.h"
#include "ui/style/TextStyle.h"

#include <QFontMetrics>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QtMath>

namespace kestrelnet {

namespace {

constexpr int spacing = 12;

} // namespace

Switch::Switch(const QString& label, QWidget* parent) : QCheckBox(label, parent) {
    setFont(textFont(TextStyle::body));
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

QSizeF Switch::trackSize() const {
    const auto height = qreal(qRound(fontMetrics().height() * 1.25));
    return {qreal(qRound(height * 1.75)), height};
}

QSize Switch::sizeHint() const {
    const QSizeF track = trackSize();
    return {fontMetrics().horizontalAdvance(text()) + spacing + qCeil(track.width() + 2 * outset),
            qCeil(track.height() + 2 * outset)};
}

bool Switch::hitButton(const QPoint& position) const {
    return rect().contains(position);
}

void Switch::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        return QCheckBox::keyPressEvent(event);
    }
    if (!event->isAutoRepeat()) {
        click();
    }
}

void Switch::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto group = isEnabled() ? QPalette::Active : QPalette::Disabled;
    painter.setPen(palette().color(group, QPalette::WindowText));
    const auto start = QStyle::visualAlignment(layoutDirection(), Qt::AlignVCenter | Qt::AlignLeft);
    painter.drawText(rect(), static_cast<int>(start) | Qt::TextSingleLine, text());
    const QSizeF size = trackSize();
    const qreal left = isRightToLeft() ? outset : width() - size.width() - outset;
    paintTrack(painter, QRectF(QPointF(left, qRound((height() - size.height()) / 2)), size));
}

void Switch::paintTrack(QPainter& painter, const QRectF& track) const {
    const qreal radius = track.height() / 2;
    painter.setOpacity(isEnabled() ? 1 : 0.5);
    const ColorRole face = isChecked() ? ColorRole::accent : ColorRole::secondary;
    painter.setPen(fillEdgeColor(face));
    painter.setBrush(fillColor(face));
    painter.drawRoundedRect(track.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5, radius - 0.5);
    constexpr qreal gap = 2;
    const qreal diameter = track.height() - 2 * gap;
    // It moves in reading direction when the switch is turned on.
    const bool isAtRight = isChecked() != isRightToLeft();
    const qreal left = isAtRight ? track.right() - gap - diameter : track.left() + gap;
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QRectF(left, track.top() + gap, diameter, diameter));
    if (hasFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(textColor(ColorRole::accent), 1.5));
        painter.drawRoundedRect(track.adjusted(-2, -2, 2, 2), radius + 2, radius + 2);
    }
}

} // namespace kestrelnet
