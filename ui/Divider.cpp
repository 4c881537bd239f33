// SPDX-License-Identifier: MIT
#include "ui/Divider.h"

#include "ui/Colors.h"

#include <QPainter>

namespace kestrelnet {

Divider::Divider(QWidget* parent) : QWidget(parent) {
    setFixedHeight(1);
}

void Divider::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), lineColor(palette()));
}

} // namespace kestrelnet
