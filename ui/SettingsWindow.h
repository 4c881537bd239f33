// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

namespace kestrelnet {

/// The settings: an ordinary window of fixed size. Escape closes it.
class SettingsWindow final : public QWidget {
  public:
    SettingsWindow();

  protected:
    void keyPressEvent(QKeyEvent* event) override;
};

} // namespace kestrelnet
