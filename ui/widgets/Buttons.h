// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"

#include <QMargins>
#include <QPushButton>

#include <string_view>

namespace kestrelnet {

/// A button that Return presses as Space does.
class Button : public QPushButton {
  public:
    using QPushButton::QPushButton;

  protected:
    /// Whether it has the focus and the keyboard is what is used: who points needs no ring.
    bool showsFocus() const { return hasFocus() && usesKeyboard_; }

    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void setUsesKeyboard(bool usesKeyboard);

    bool usesKeyboard_ = false;
};

/// A prominent button: white on a filled face, with a symbol before the label or none.
class FilledButton final : public Button {
  public:
    explicit FilledButton(QWidget* parent = nullptr);

    void setContent(std::string_view symbol, const QString& label, ColorRole tint);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    int labelWidth() const;
    QColor face() const;

    std::string_view symbol_;
    ColorRole tint_ = ColorRole::accent;
};

/// An ordinary button: its label in a frame.
class BorderedButton final : public Button {
  public:
    BorderedButton(const QString& label, ColorRole color, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    ColorRole color_;
};

/// A button that is no more than its label. The face that shows under the pointer and the ring that
/// shows the focus reach beyond the label by `outset`.
class BorderlessButton final : public Button {
  public:
    static constexpr QMargins outset{6, 3, 6, 3};

    BorderlessButton(const QString& label, ColorRole color, QWidget* parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    ColorRole color_;
};

} // namespace kestrelnet
