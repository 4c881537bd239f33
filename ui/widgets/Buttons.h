// SPDX-License-Identifier: MIT
#pragma once

#include "ui/style/ColorRole.h"

#include <QMargins>
#include <QPushButton>

#include <string_view>

namespace kestrelnet {

/// A button that Return presses, as Space does.
class Button : public QPushButton {
  public:
    using QPushButton::QPushButton;

  protected:
    /// Whether to show the focus ring. No focus ring while the mouse is used.
    bool showsFocus() const { return hasFocus() && usesKeyboard_; }

    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void setUsesKeyboard(bool usesKeyboard);

    bool usesKeyboard_ = false;
};

/// A prominent button: a white label on a filled face, with an optional symbol before the label.
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

/// An ordinary button: a label in a frame.
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

/// A button that looks like its label. The hover face and the focus ring extend beyond the label by
/// `outset`.
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
