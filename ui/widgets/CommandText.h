// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"

#include <QLabel>

namespace kestrelnet {

/// A command that can be selected and copied, by the pointer and by the keyboard; small, of fixed
/// pitch, on as many lines as it takes. Selected whole when the keyboard gets there.
class CommandText final : public QLabel {
  public:
    CommandText(ColorRole color, int width, QWidget* parent = nullptr);

  protected:
    void changeEvent(QEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    void applyColor();

    ColorRole color_;
};

} // namespace kestrelnet
