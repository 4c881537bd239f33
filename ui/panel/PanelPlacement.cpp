// SPDX-License-Identifier: MIT
#include "ui/panel/PanelPlacement.h"

#include <algorithm>

namespace kestrelnet {

namespace {

constexpr int distance = 8;

/// The start of a span of `length` that begins at `wanted`, or as near to it as `low` and `high`,
/// the first and the last place inside, let it. Too long a span begins at `low`.
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
