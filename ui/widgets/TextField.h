// SPDX-License-Identifier: MIT
#pragma once

#include <QLineEdit>

namespace kestrelnet {

/// A text field of one line.
class TextField final : public QLineEdit {
  public:
    explicit TextField(QWidget* parent = nullptr);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace kestrelnet
