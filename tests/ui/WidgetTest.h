// SPDX-License-Identifier: MIT
#pragma once

#include "core/TunnelManager.h"
#include "tests/support/TestPlatform.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QStringList>
#include <QWidget>

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace kestrelnet {

/// A controller for widgets to show, on a platform of its own; and eyes and hands for them. What is
/// seen is what the accessibility interface tells.
class WidgetTest : public testing::Test {
  protected:
    static constexpr const char* validKey = "dev_1234567";

    WidgetTest();
    ~WidgetTest() override;

    /// Puts the file there whose presence makes the helper installed, and makes the controller
    /// anew.
    void installHelper();

    /// All texts shown below `widget`, labels of buttons included, from top to bottom.
    static QStringList texts(const QWidget& widget);
    /// The button of that label that is shown below `widget`, or null.
    static QAbstractButton* button(const QWidget& widget, const QString& label);
    /// What is shown below `widget` with that role and that name, or null.
    static QObject* control(const QWidget& widget, QAccessible::Role role, const QString& name);
    /// All that is shown below `widget` and has something to say or to do.
    static std::vector<QAccessibleInterface*> controls(const QWidget& widget);

    TestPlatform world;
    VirtualTime& time = world.time;
    std::shared_ptr<TunnelManager> tunnel;
};

} // namespace kestrelnet
