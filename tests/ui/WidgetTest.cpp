// SPDX-License-Identifier: MIT
#include "tests/ui/WidgetTest.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

namespace kestrelnet {

namespace {

void collect(QAccessibleInterface& node, std::vector<QAccessibleInterface*>& found) {
    if (node.state().invisible) {
        return;
    }
    static constexpr std::array roles{QAccessible::StaticText, QAccessible::Button,
                                      QAccessible::CheckBox, QAccessible::Link,
                                      QAccessible::EditableText};
    if (std::find(roles.begin(), roles.end(), node.role()) != roles.end()) {
        found.push_back(&node);
    }
    for (int i = 0; i < node.childCount(); ++i) {
        collect(*node.child(i), found);
    }
}

} // namespace

WidgetTest::WidgetTest() : tunnel(std::make_shared<TunnelManager>(world.platform)) {}

WidgetTest::~WidgetTest() = default;

void WidgetTest::installHelper() {
    const std::string& helper = world.platform.paths.helper;
    std::filesystem::create_directories(std::filesystem::path(helper).parent_path());
    const std::ofstream file(helper);
    tunnel = std::make_shared<TunnelManager>(world.platform);
}

std::vector<QAccessibleInterface*> WidgetTest::controls(const QWidget& widget) {
    std::vector<QAccessibleInterface*> found;
    collect(*QAccessible::queryAccessibleInterface(&const_cast<QWidget&>(widget)), found);
    return found;
}

QStringList WidgetTest::texts(const QWidget& widget) {
    QStringList result;
    for (const QAccessibleInterface* node : controls(widget)) {
        result.append(node->text(QAccessible::Name));
    }
    return result;
}

QAbstractButton* WidgetTest::button(const QWidget& widget, const QString& label) {
    return qobject_cast<QAbstractButton*>(control(widget, QAccessible::Button, label));
}

QObject* WidgetTest::control(const QWidget& widget, QAccessible::Role role, const QString& name) {
    for (QAccessibleInterface* node : controls(widget)) {
        if (node->role() == role && node->text(QAccessible::Name) == name) {
            return node->object();
        }
    }
    return nullptr;
}

} // namespace kestrelnet
