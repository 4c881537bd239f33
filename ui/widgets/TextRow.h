// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"
#include "ui/style/TextStyle.h"

#include <QLabel>
#include <QString>
#include <QTextLayout>

#include <string_view>

namespace kestrelnet {

/// Replaces white space of every kind by spaces, and control characters by the replacement
/// character.
QString visibleText(QString text);

/// A few lines of plain text, with an optional symbol or circle before it. A text that does not fit
/// is cut in its middle. No text, not even a hostile one, takes more than `maxLines`. The mark is
/// part of the same widget and only repeats what the text says.
class TextRow final : public QLabel {
  public:
    struct Look {
        QFont font;
        ColorRole color = ColorRole::primary;
        int width = 0;
        int maxLines = 1;
        /// The width of the column in which the mark is centred. No mark if 0.
        int markColumn = 0;
        /// The width and height of a symbol.
        int symbolSide = 0;
        /// Only as wide as the text, at most `width`.
        bool hugsText = false;
    };

    explicit TextRow(const Look& look, QWidget* parent = nullptr);

    void setContent(const QString& text);
    void setSymbol(std::string_view name, ColorRole color);
    void setCircle(ColorRole color);

    /// The lines as they are shown, including the ellipsis.
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
