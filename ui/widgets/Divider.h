// SPDX-License-Identifier: MIT
#pragma once

#include <QWidget>

namespace kestrelnet {

/// A horizontal line, one pixel high.
class Divider final : public QWidget {
  public:
    explicit Divider(QWidget* parent = nullptr);

  protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace kestrelnet
