// SPDX-License-Identifier: MIT
#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace kestrelnet {

/// Returns the position for a panel of this size: at the pointer, towards the middle of the screen,
/// and inside the work area. The position of the tray icon is not known.
QPoint panelPosition(QPoint pointer, QSize panel, QRect workArea);

} // namespace kestrelnet
