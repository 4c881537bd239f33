// SPDX-License-Identifier: MIT
#pragma once

#include <QScrollArea>

namespace kestrelnet {

/// A page that scrolls vertically, and horizontally if it is narrower than its widget. The widget
/// that gets the keyboard focus without the mouse comes into view, and stays there when the page
/// becomes smaller.
class ScrollPage final : public QScrollArea {
  public:
    /// The width reserved for the scroll bar at the right, also while nothing can be scrolled.
    static constexpr int scrollBarWidth = 12;

    explicit ScrollPage(QWidget* parent = nullptr);

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    void showFocus(QWidget* focused);
};

} // namespace kestrelnet
