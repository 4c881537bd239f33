// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"
#include "ui/style/TextStyle.h"

#include <QLabel>
#include <QString>
#include <QTextLayout>

#include <string_view>

namespace kestrelnet {

/// A line or two of plain text, with a symbol or a circle before it or nothing. What does not fit
/// loses its middle; text of any kind, hostile text too, keeps within its lines. The mark is part
/// of the same widget and says nothing that the text does not say.
class TextRow final : public QLabel {
  public:
    struct Look {
        QFont font;
        ColorRole color = ColorRole::primary;
        int width = 0;
        int maxLines = 1;
        /// The width of the column in which the mark is centred; none when 0.
        int markColumn = 0;
        /// The side of the square that a symbol fills.
        int symbolSide = 0;
        /// No wider than the text needs, `width` at most.
        bool hugsText = false;
    };

    explicit TextRow(const Look& look, QWidget* parent = nullptr);

    void setContent(const QString& text);
    void setSymbol(std::string_view name, ColorRole color);
    void setCircle(ColorRole color);

    /// The lines as they are shown, the ellipsis included.
    QStringList shownLines() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void layOutText();
    int layOut(const QString& text);
    int textLeft() const;
    int textTop() const;
    int textWidth() const;
    void paintMark(QPainter& painter) const;

    Look look_;
    int lineHeight_;
    QTextLayout layout_;
    std::string_view symbol_;
    ColorRole markColor_ = ColorRole::secondary;
};

} // namespace kestrelnet
