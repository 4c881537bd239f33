// SPDX-License-Identifier: MIT
#include "ui/widgets/Divider.h"

#include "ui/style/Colors.h"

#include <QPainter>

namespace kestrelnet {

Divider::Divider(QWidget* parent) : QWidget(parent) {
    setFixedHeight(1);
}

void Divider::paintEvent(QPaintEvent*) {
    QPainter(this).fillRect(rect(), lineColor());
}

} // namespace kestrelnet
