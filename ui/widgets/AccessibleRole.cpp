// SPDX-License-Identifier: MIT
#include "ui/widgets/AccessibleRole.h"

#include <QAccessibleWidget>
#include <QVariant>
#include <QWidget>

namespace kestrelnet {

namespace {

constexpr const char* roleProperty = "accessibleRole";

QAccessibleInterface* withRole(const QString&, QObject* object) {
    const QVariant role = object->property(roleProperty);
    auto* const widget = role.isValid() ? qobject_cast<QWidget*>(object) : nullptr;
    return widget != nullptr
               ? new QAccessibleWidget(widget, static_cast<QAccessible::Role>(role.toInt()))
               : nullptr;
}

} // namespace

void setAccessibleRole(QWidget& widget, QAccessible::Role role) {
    // Installs it only once.
    QAccessible::installFactory(withRole);
    widget.setProperty(roleProperty, static_cast<int>(role));
}

} // namespace kestrelnet
