// SPDX-License-Identifier: MIT
#include "ui/panel/PanelPlacement.h"

#include <algorithm>

namespace kestrelnet {

namespace {

constexpr int distance = 8;

/// Moves a span of `length` from `wanted` into the range from `low` to `high`, both included, and
/// returns its start. A span longer than the range starts at `low`.
int fitted(int wanted, int length, int low, int high) {
    return std::max(low, std::min(wanted, high + 1 - length));
}

} // namespace

QPoint panelPosition(QPoint pointer, QSize panel, QRect workArea) {
    const QRect area = workArea.adjusted(distance, distance, -distance, -distance);
    const bool opensUpwards = pointer.y() > workArea.center().y();
    const int top = opensUpwards ? pointer.y() - distance - panel.height() : pointer.y() + distance;
    return {fitted(pointer.x() - panel.width() / 2, panel.width(), area.left(), area.right()),
            fitted(top, panel.height(), area.top(), area.bottom())};
}

} // namespace kestrelnet
