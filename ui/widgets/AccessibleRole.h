// SPDX-License-Identifier: MIT
#pragma once

#include <QAccessible>

class QWidget;

namespace kestrelnet {

/// Tells assistive programs what `widget` is, where its class does not say it. To be called before
/// the widget is shown.
void setAccessibleRole(QWidget& widget, QAccessible::Role role);

} // namespace kestrelnet
