// SPDX-License-Identifier: MIT
#include "ui/widgets/Windows.h"

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
