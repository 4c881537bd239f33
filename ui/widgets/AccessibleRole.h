// SPDX-License-Identifier: MIT
#pragma once

#include <QAccessible>

class QWidget;

namespace kestrelnet {

/// Sets the role of `widget` for assistive programs, if its class does not imply it. Call it before
/// the widget is shown.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

} // namespace kestrelnet
