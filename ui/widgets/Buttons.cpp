// SPDX-License-Identifier: MIT
#include "ui/widgets/Buttons.h"

#include "ui/style/Colors.h"
#include "ui/style/Symbols.h"
#include "ui/style/TextStyle.h"

#include <QFocusEvent>
#include <QFontMetrics>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include <utility>

namespace kestrelnet {

namespace {

constexpr qreal cornerRadius = 6;
constexpr int filledPadding = 14;
constexpr int filledPaddingVertical = 7;
constexpr int symbolSpacing = 6;

int symbolSide(const QFont& font) {
    return QFontMetrics(font).height();
}

} // namespace

void Button::keyPressEvent(QKeyEvent* event) {
    setUsesKeyboard(true);
    if (event->key() != Qt::Key_Return && event->key() != Qt::Key_Enter) {
        return QPushButton::keyPressEvent(event);
    }
    // A key that is held down must not connect and disconnect repeatedly.
    if (!event->isAutoRepeat()) {
        click();
    }
}

void Button::mousePressEvent(QMouseEvent* event) {
    setUsesKeyboard(false);
    QPushButton::mousePressEvent(event);
}

void Button::focusInEvent(QFocusEvent* event) {
    switch (event->reason()) {
    case Qt::TabFocusReason:
    case Qt::BacktabFocusReason:
    case Qt::ShortcutFocusReason:
        setUsesKeyboard(true);
        break;
    case Qt::MouseFocusReason:
    case Qt::OtherFocusReason:
        setUsesKeyboard(false);
        break;
    default:
        // The window was activated or deactivated.
        break;
    }
    QPushButton::focusInEvent(event);
}

void Button::hideEvent(QHideEvent* event) {
    usesKeyboard_ = false;
    QPushButton::hideEvent(event);
}

void Button::setUsesKeyboard(bool usesKeyboard) {
    if (std::exchange(usesKeyboard_, usesKeyboard) != usesKeyboard) {
        update();
    }
}

FilledButton::FilledButton(QWidget* parent) : Button(parent) {
    setFont(textFont(TextStyle::body));
    setAttribute(Qt::WA_Hover);
}

void FilledButton::setContent(std::string_view symbol, const QString& label, ColorRole tint) {
    if (symbol_ == symbol && tint_ == tint && text() == label) {
        return;
    }
    symbol_ = symbol;
    tint_ = tint;
    setText(label);
    updateGeometry();
    update();
}

int FilledButton::labelWidth() const {
    const int text = fontMetrics().horizontalAdvance(QPushButton::text());
    return symbol_.empty() ? text : symbolSide(QPushButton::font()) + symbolSpacing + text;
}

QSize FilledButton::sizeHint() const {
    return {labelWidth() + 2 * filledPadding, fontMetrics().height() + 2 * filledPaddingVertical};
}

QColor FilledButton::face() const {
    if (!isEnabled()) {
        return lineColor();
    }
    // Darker under the pointer. A lighter face would make the label hard to read.
    const QColor fill = fillColor(tint_);
    return isDown() ? fill.darker(130) : underMouse() ? fill.darker(110) : fill;
}

void FilledButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(face());
    painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
    painter.setBrush(Qt::NoBrush);
    if (const QColor edge = fillEdgeColor(tint_); isEnabled() && edge != fillColor(tint_)) {
        painter.setPen(edge);
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius,
                                cornerRadius);
    }
    if (showsFocus()) {
        painter.setPen(QPen(Qt::white, 1.5));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2.75, 2.75, -2.75, -2.75), cornerRadius - 2,
                                cornerRadius - 2);
    }
    QRect place((width() - labelWidth()) / 2, 0, labelWidth(), height());
    if (!symbol_.empty()) {
        const int side = symbolSide(QPushButton::font());
        const QRect symbol(place.left(), (height() - side) / 2, side, side);
        paintSymbol(painter, symbol_, symbol, Qt::white);
        place.setLeft(symbol.right() + 1 + symbolSpacing);
    }
    painter.setPen(isEnabled() ? Qt::white
                               : palette().color(QPalette::Disabled, QPalette::ButtonText));
    painter.drawText(place, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine, text());
}

BorderedButton::BorderedButton(const QString& label, ColorRole color, QWidget* parent)
    : Button(label, parent), color_(color) {
    setFont(textFont(TextStyle::body));
    setAttribute(Qt::WA_Hover);
}

QSize BorderedButton::sizeHint() const {
    return {fontMetrics().horizontalAdvance(text()) + 2 * filledPadding,
            fontMetrics().height() + 2 * filledPaddingVertical};
}

void BorderedButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = textColor(color_);
    QColor face = color;
    face.setAlphaF(isDown() ? 0.16F : underMouse() ? 0.1F : 0.04F);
    painter.setBrush(face);
    painter.setPen(showsFocus() ? QPen(textColor(ColorRole::accent), 2) : QPen(outlineColor(), 1));
    const qreal inset = painter.pen().widthF() / 2;
    painter.drawRoundedRect(QRectF(rect()).adjusted(inset, inset, -inset, -inset), cornerRadius,
                            cornerRadius);
    painter.setPen(color);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
}

BorderlessButton::BorderlessButton(const QString& label, ColorRole color, QWidget* parent)
    : Button(label, parent), color_(color) {
    setFont(textFont(TextStyle::caption));
    setAttribute(Qt::WA_Hover);
}

QSize BorderlessButton::sizeHint() const {
    return QSize(fontMetrics().horizontalAdvance(text()), fontMetrics().height()).grownBy(outset);
}

void BorderlessButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = textColor(color_);
    if (isDown() || underMouse()) {
        QColor face = textColor(ColorRole::primary);
        face.setAlphaF(isDown() ? 0.12F : 0.06F);
        painter.setPen(Qt::NoPen);
        painter.setBrush(face);
        painter.drawRoundedRect(rect(), cornerRadius - 1, cornerRadius - 1);
    }
    if (showsFocus()) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(textColor(ColorRole::accent), 1.5));
        painter.drawRoundedRect(QRectF(rect()).adjusted(0.75, 0.75, -0.75, -0.75), cornerRadius - 1,
                                cornerRadius - 1);
    }
    painter.setPen(color);
    painter.drawText(rect(), Qt::AlignCenter | Qt::TextSingleLine, text());
}

} // namespace kestrelnet
