// SPDX-License-Identifier: MIT
#pragma once

#include <QLineEdit>

namespace kestrelnet {

/// A field of one line to type into.
class TextField final : public QLineEdit {
  public:
    explicit TextField(QWidget* parent = nullptr);

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace kestrelnet
