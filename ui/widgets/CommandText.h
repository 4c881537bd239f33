// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"

#include <QLabel>

namespace kestrelnet {

/// A command that can be selected and copied with the mouse and the keyboard: small, monospaced, on
/// as many lines as it needs. The Tab key selects all of it.
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
