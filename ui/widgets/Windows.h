// SPDX-License-Identifier: MIT
#pragma once

class QWidget;

namespace kestrelnet {

/// Shows `window`, restores it if it is minimized, raises it and gives it the focus.
void bringToFront(QWidget& window);

} // namespace kestrelnet
