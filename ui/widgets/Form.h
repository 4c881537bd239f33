// SPDX-License-Identifier: MIT
// The parts of a grouped form: sections, each a header over a card, with rows in the card.
#pragma once

#include <QMargins>
#include <QWidget>

class QHBoxLayout;
class QVBoxLayout;

namespace kestrelnet {

/// A row of a card. What is hidden as a whole leaves neither a gap nor a line.
class FormRow final : public QWidget {
  public:
    enum class Place {
        /// Set off from the row above by a line.
        apart,
        /// Goes with the row above, as what explains it.
        below,
    };

    FormRow(Place place, QWidget* parent);

    /// From one end to the other, in the order of adding.
    void add(QWidget* widget);
    void addStretch();
    /// Between its widgets.
    void setSpacing(int width);
    /// Lets the first or the last widget reach into the padding by what it has beyond its label, so
    /// that the labels line up.
    void setOutset(const QMargins& outset);

    Place place() const { return place_; }

  private:
    Place place_;
    QHBoxLayout* row_;
};

class FormSection final : public QWidget {
  public:
    static constexpr int width = 440;
    static constexpr int padding = 14;
    /// What a row has for its widgets.
    static constexpr int innerWidth = width - 2 * padding;

    /// Without a header when that is empty.
    explicit FormSection(const QString& header, QWidget* parent = nullptr);

    FormRow& addRow(FormRow::Place place = FormRow::Place::apart);

  private:
    class Card;

    Card* card_ = nullptr;
};

} // namespace kestrelnet
