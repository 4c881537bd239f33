// SPDX-License-Identifier: MIT
#include "ui/Windows.h"

#include <QWidget>

namespace kestrelnet {

void bringToFront(QWidget& window) {
    if (window.isMinimized()) {
        window.showNormal();
    } else {
        window.show();
    }
    window.raise();
    window.activateWindow();
}

} // namespace kestrelnet
