// SPDX-License-Identifier: MIT
// Fields of one line.
#pragma once

#include "ui/ColorRole.h"

#include <QLineEdit>

namespace kestrelnet {

/// A field to type into.
class TextField final : public QLineEdit {
  public:
    explicit TextField(QWidget* parent = nullptr);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A text that can be selected and copied, not changed; small, and of fixed pitch.
class CommandField final : public QLineEdit {
  public:
    explicit CommandField(ColorRole color, QWidget* parent = nullptr);

  protected:
    void changeEvent(QEvent* event) override;

  private:
    void applyColor();

    ColorRole color_;
};

} // namespace kestrelnet
