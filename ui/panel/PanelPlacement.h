// SPDX-License-Identifier: MIT
#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace kestrelnet {

/// Returns the position for a panel of this size: beside the icon, towards the middle of the
/// screen, and inside the work area. It covers the icon only if the panel does not fit beside it.
QPoint panelPosition(QRect icon, QSize panel, QRect workArea);

/// Returns the area that the tray icon may have if its area is not known: around the pointer, which
/// has clicked on it. In a part of the screen that is reserved for the desktop's bars no panel can
/// cover it, so there it is the pointer alone.
QRect assumedIcon(QPoint pointer, QRect workArea);

} // namespace kestrelnet
