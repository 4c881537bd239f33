// SPDX-License-Identifier: MIT
#include "ui/SettingsWindow.h"

#include <QKeyEvent>

namespace kestrelnet {

namespace {

constexpr int fullWidth = 480;
constexpr int fullHeight = 560;

} // namespace

SettingsWindow::SettingsWindow() {
    setWindowTitle(QStringLiteral("Kestrelnet Settings"));
    setFixedSize(fullWidth, fullHeight);
}

void SettingsWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        close();
    } else {
        QWidget::keyPressEvent(event);
    }
}

} // namespace kestrelnet
