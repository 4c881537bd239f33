// SPDX-License-Identifier: MIT
#pragma once

#include <QCheckBox>

namespace kestrelnet {

/// A label with a switch at the other end of the row, mirrored in right-to-left layouts. A click
/// anywhere in the row, Return and Space flip it. For the toolkit and for assistive programs it is
/// a check box.
class Switch final : public QCheckBox {
  public:
    /// The space around the switch for the focus ring.
    static constexpr int outset = 3;

    explicit Switch(const QString& label, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    bool hitButton(const QPoint& position) const override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    /// Grows with the text.
    QSizeF trackSize() const;
    void paintTrack(QPainter& painter, const QRectF& track) const;
};

} // namespace kestrelnet
