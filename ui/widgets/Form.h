// SPDX-License-Identifier: MIT
// The parts of a grouped form: sections with a header and a card, and the rows in the card.
#pragma once

#include <QMargins>
#include <QWidget>

class QHBoxLayout;
class QVBoxLayout;

namespace kestrelnet {

/// A row of a card. A hidden row leaves no gap and no line.
class FormRow final : public QWidget {
  public:
    enum class Place {
        /// Separated from the row above by a line.
        apart,
        /// Belongs to the row above.
        below,
    };

    FormRow(Place place, QWidget* parent);

    /// Adds a widget to the right of the others.
    void add(QWidget* widget);
    void addStretch();
    /// Sets the space between the widgets.
    void setSpacing(int width);
    /// Reduces the padding by the space that the first or the last widget has around its label, so
    /// that the labels line up.
    void setOutset(const QMargins& outset);

    Place place() const { return place_; }

  private:
    Place place_;
    QHBoxLayout* row_;
};

class FormSection : public QWidget {
  public:
    static constexpr int width = 440;
    static constexpr int padding = 14;
    /// The width that a row has for its widgets.
    static constexpr int innerWidth = width - 2 * padding;

    /// Shows no header if `header` is empty.
    explicit FormSection(const QString& header, QWidget* parent = nullptr);

    FormRow& addRow(FormRow::Place place = FormRow::Place::apart);

  private:
    class Card;

    Card* card_ = nullptr;
};

} // namespace kestrelnet
