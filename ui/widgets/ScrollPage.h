// SPDX-License-Identifier: MIT
#pragma once

#include <QScrollArea>

namespace kestrelnet {

/// A page that is scrolled up and down when it does not fit, never sideways. What has the keyboard
/// focus is always in view.
class ScrollPage final : public QScrollArea {
  public:
    /// The room that the scroll bar has at the right, used or not.
    static constexpr int scrollBarWidth = 12;

    explicit ScrollPage(QWidget* parent = nullptr);
};

} // namespace kestrelnet
