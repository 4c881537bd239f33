// SPDX-License-Identifier: MIT
#pragma once

class QWidget;

namespace kestrelnet {

/// Shows `window`, minimized or hidden or behind others as it may be, and gives it the focus.
void bringToFront(QWidget& window);

} // namespace kestrelnet
