// SPDX-License-Identifier: MIT
#include "ui/widgets/TextRow.h"

#include "ui/style/Colors.h"
#include "ui/style/Symbols.h"

#include <QFontMetrics>
#include <QPainter>
#include <QTextBoundaryFinder>
#include <QTextOption>
#include <QtMath>

#include <algorithm>
#include <vector>

namespace kestrelnet {

namespace {

constexpr int circleDiameter = 8;
constexpr int markSpacing = 8;
constexpr char16_t ellipsis = u'\u2026';

/// The positions at which `text` can be cut without splitting a character.
std::vector<qsizetype> characterBoundaries(const QString& text) {
    std::vector<qsizetype> boundaries;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (qsizetype at = 0; at >= 0; at = finder.toNextBoundary()) {
        boundaries.push_back(at);
    }
    return boundaries;
}

} // namespace

QString visibleText(QString text) {
    for (QChar& c : text) {
        if (c.isSpace()) {
            c = u' ';
        } else if (c.category() == QChar::Other_Control) {
            c = QChar::ReplacementCharacter;
        }
    }
    return text;
}

TextRow::TextRow(const Look& look, QWidget* parent)
    : QLabel(parent), look_(look), lineHeight_(qCeil(QFontMetricsF(look.font).height()) + 1) {
    setTextFormat(Qt::PlainText);
    setFont(look.font);
    QTextOption option(Qt::AlignLeft);
    option.setTextDirection(Qt::LeftToRight);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout_.setTextOption(option);
    layout_.setFont(look.font);
}

void TextRow::setContent(const QString& text) {
    if (text == QLabel::text() && layout_.lineCount() > 0) {
        return;
    }
    QLabel::setText(text);
    layOutText();
    updateGeometry();
    update();
}

void TextRow::setSymbol(std::string_view name, ColorRole color) {
    if (symbol_ == name && markColor_ == color) {
        return;
    }
    symbol_ = name;
    markColor_ = color;
    update();
}

void TextRow::setCircle(ColorRole color) {
    setSymbol({}, color);
}

int TextRow::textLeft() const {
    return look_.markColumn > 0 ? look_.markColumn + markSpacing : 0;
}

/// The space above the first line, which centres it beside a taller symbol.
int TextRow::textTop() const {
    return std::max(0, look_.symbolSide - lineHeight_ + 1) / 2;
}

/// Breaks `text` into lines and returns their number, at most one more than allowed.
int TextRow::layOut(const QString& text) {
    layout_.setText(text);
    layout_.beginLayout();
    int count = 0;
    for (QTextLine line = layout_.createLine(); line.isValid() && count <= look_.maxLines;
         line = layout_.createLine()) {
        line.setLineWidth(look_.width - textLeft());
        line.setPosition(QPointF(0, count * lineHeight_ + (lineHeight_ - line.height()) / 2));
        ++count;
    }
    layout_.endLayout();
    return count;
}

void TextRow::layOutText() {
    const QString whole = visibleText(text());
    if (layOut(whole) <= look_.maxLines) {
        // Each call sends an event, even if there is none.
        if (!toolTip().isEmpty()) {
            setToolTip({});
        }
        return;
    }
    setToolTip(QStringLiteral("<span>%1</span>").arg(whole.toHtmlEscaped()));
    const std::vector<qsizetype> boundaries = characterBoundaries(whole);
    const auto keeping = [&](std::size_t characters) {
        const qsizetype head = boundaries[(characters + 1) / 2];
        const qsizetype tail = boundaries[boundaries.size() - 1 - characters / 2];
        return whole.left(head) + ellipsis + whole.mid(tail);
    };
    std::size_t fitting = 0;
    for (std::size_t tooMany = boundaries.size() - 1; fitting + 1 < tooMany;) {
        const std::size_t middle = fitting + (tooMany - fitting) / 2;
        (layOut(keeping(middle)) <= look_.maxLines ? fitting : tooMany) = middle;
    }
    layOut(keeping(fitting));
}

QStringList TextRow::shownLines() const {
    QStringList lines;
    for (int i = 0; i < layout_.lineCount(); ++i) {
        const QTextLine line = layout_.lineAt(i);
        lines.append(layout_.text().mid(line.textStart(), line.textLength()));
    }
    return lines;
}

QSize TextRow::sizeHint() const {
    const int lines = std::clamp(layout_.lineCount(), 1, look_.maxLines);
    const int width =
        look_.hugsText ? std::min(look_.width, textLeft() + textWidth()) : look_.width;
    return {width, lines * lineHeight_ + 2 * textTop()};
}

int TextRow::textWidth() const {
    qreal widest = 0;
    for (int i = 0; i < layout_.lineCount(); ++i) {
        widest = std::max(widest, layout_.lineAt(i).naturalTextWidth());
    }
    return qCeil(widest);
}

void TextRow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (look_.markColumn > 0) {
        paintMark(painter);
    }
    painter.setPen(textColor(look_.color));
    layout_.draw(&painter, QPointF(textLeft(), textTop()));
}

void TextRow::paintMark(QPainter& painter) const {
    const QColor color = symbolColor(markColor_);
    const int side = symbol_.empty() ? circleDiameter : look_.symbolSide;
    const QRectF place((look_.markColumn - side) / 2.0, textTop() + (lineHeight_ - side) / 2.0,
                       side, side);
    if (!symbol_.empty()) {
        return paintSymbol(painter, symbol_, place, color);
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(place);
}

} // namespace kestrelnet
