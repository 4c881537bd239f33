// SPDX-License-Identifier: MIT
#pragma once

#include <QScrollArea>

namespace kestrelnet {

/// A page that scrolls vertically, never horizontally. The widget with the keyboard focus is always
/// in view.
class ScrollPage final : public QScrollArea {
  public:
    /// The width reserved for the scroll bar at the right, also while nothing can be scrolled.
    static constexpr int scrollBarWidth = 12;

    explicit ScrollPage(QWidget* parent = nullptr);
};

} // namespace kestrelnet
