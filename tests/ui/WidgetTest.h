// SPDX-License-Identifier: MIT
#pragma once

#include "core/TunnelManager.h"
#include "tests/support/TestPlatform.h"
#include "ui/widgets/Redraw.h"

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

/// A controller on a test platform, and functions to read and press widgets that show it. They read
/// the widgets through the accessibility interface.
class WidgetTest : public testing::Test {
  protected:
    static constexpr const char* validKey = "dev_1234567";

    WidgetTest();
    ~WidgetTest() override;

    /// Creates the helper's file, so that the helper counts as installed, and a new controller.
    void installHelper();

    /// Lets the views show all changes: the first at once, later ones with their next frame.
    void redraw() { time.advance(Redraw::frame); }

    /// All texts shown in `widget`, including labels of buttons, from top to bottom.
    static QStringList texts(const QWidget& widget);
    /// The visible button with this label in `widget`, or null.
    static QAbstractButton* button(const QWidget& widget, const QString& label);
    /// The visible control with this role and name in `widget`, or null.
    static QObject* control(const QWidget& widget, QAccessible::Role role, const QString& name);
    /// All visible texts and controls in `widget`.
    static std::vector<QAccessibleInterface*> controls(const QWidget& widget);

    TestPlatform world;
    VirtualTime& time = world.time;
    std::shared_ptr<TunnelManager> tunnel;
};

} // namespace kestrelnet
