// SPDX-License-Identifier: MIT
#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace kestrelnet {

/// Where a panel of this size goes: beside the pointer that asked for it, towards the middle of the
/// screen, and inside the work area. The tray tells no place of its own.
QPoint panelPosition(QPoint pointer, QSize panel, QRect workArea);

} // namespace kestrelnet
