// SPDX-License-Identifier: MIT
#include "ui/panel/PanelPlacement.h"

#include <algorithm>

namespace kestrelnet {

namespace {

constexpr int distance = 8;
/// From a click on an icon to the icon's edge, at most.
constexpr int reach = 24;

/// Moves a span of `length` from `wanted` into the range from `low` to `high`, both included, and
/// returns its start. A span longer than the range starts at `low`.
int fitted(int wanted, int length, int low, int high) {
    return std::max(low, std::min(wanted, high + 1 - length));
}

} // namespace

QPoint panelPosition(QRect icon, QSize panel, QRect workArea) {
    const QRect area = workArea.adjusted(distance, distance, -distance, -distance);
    const bool opensUpwards = icon.center().y() > workArea.center().y();
    const int top =
        opensUpwards ? icon.top() - distance - panel.height() : icon.bottom() + 1 + distance;
    QRect place(
        {fitted(icon.center().x() - panel.width() / 2, panel.width(), area.left(), area.right()),
         fitted(top, panel.height(), area.top(), area.bottom())},
        panel);
    if (place.intersects(icon)) {
        // Neither above nor below is enough room.
        const bool opensToTheLeft = icon.center().x() > workArea.center().x();
        const int left =
            opensToTheLeft ? icon.left() - distance - panel.width() : icon.right() + 1 + distance;
        place.moveLeft(fitted(left, panel.width(), area.left(), area.right()));
    }
    return place.topLeft();
}

QRect assumedIcon(QPoint pointer, QRect workArea) {
    const QRect point(pointer, QSize(1, 1));
    return workArea.contains(pointer) ? point.adjusted(-reach, -reach, reach, reach) : point;
}

} // namespace kestrelnet
