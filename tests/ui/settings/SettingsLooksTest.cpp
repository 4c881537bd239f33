// SPDX-License-Identifier: MIT
// Keyboard use, accessibility, colours and fonts of the settings window.
#include "tests/ui/settings/SettingsViewTest.h"
#include "ui/style/Colors.h"

#include <QImage>
#include <QtTest/QTest>

namespace kestrelnet {

namespace {

class SettingsLooksTest : public SettingsViewTest {};

TEST_F(SettingsLooksTest, tabReachesEveryControlInReadingOrder) {
    tunnel->helperInstalled = true;
    open();
    QStringList order;
    for (int presses = 0; presses < 10; ++presses) {
        const auto* node = QAccessible::queryAccessibleInterface(QApplication::focusWidget());
        order.append(node->text(QAccessible::Name));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    EXPECT_EQ(order.join(u'|').toStdString(),
              "Device API Key|Show|Save|kestrel.example/portal|Connect|Start at login|"
              "Connect automatically|" +
                  installCommand + "|kestrel.example|Uninstall Kestrelnet...");
    EXPECT_EQ(QApplication::focusWidget(), field());
}

TEST_F(SettingsLooksTest, theFocusedControlIsInView) {
    open();
    for (int presses = 0; presses < 12; ++presses) {
        const QWidget* const focused = QApplication::focusWidget();
        const QRect place(focused->mapTo(window, QPoint()), focused->size());
        EXPECT_TRUE(window->rect().contains(place)) << presses;
        EXPECT_EQ(focused->visibleRegion().boundingRect(), focused->rect()) << presses;
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
}

TEST_F(SettingsLooksTest, theFocusIsVisible) {
    open();
    for (int presses = 0; presses < 10; ++presses) {
        QWidget* const focused = QApplication::focusWidget();
        const QImage with = focused->grab().toImage();
        focused->clearFocus();
        EXPECT_NE(focused->grab().toImage(), with) << presses;
        focused->setFocus();
        QTest::keyClick(focused, Qt::Key_Tab);
    }
}

TEST_F(SettingsLooksTest, everyControlHasANameAndEveryValueItsLabel) {
    tunnel->exitIP = "203.0.113.7";
    open();
    for (const QAccessibleInterface* node : controls(*window)) {
        EXPECT_FALSE(node->text(QAccessible::Name).isEmpty());
    }
    auto* const value = control(*window, QAccessible::StaticText, QStringLiteral("203.0.113.7"));
    const auto relations =
        QAccessible::queryAccessibleInterface(value)->relations(QAccessible::Label);
    ASSERT_EQ(relations.size(), 1);
    EXPECT_EQ(relations[0].first->text(QAccessible::Name), QStringLiteral("Exit IP"));
}

TEST_F(SettingsLooksTest, followsThePaletteToDarkAndBack) {
    open();
    for (const Scheme scheme : {Scheme::light, Scheme::dark, Scheme::light}) {
        setColorMode({.scheme = scheme});
        runPostedEvents();
        EXPECT_EQ(window->grab().toImage().pixelColor(2, 2),
                  modePalette({.scheme = scheme}).color(QPalette::Window));
    }
}

TEST_F(SettingsLooksTest, theInstallCommandFollowsTheContrast) {
    open();
    const auto* const command = qobject_cast<QWidget*>(
        control(*window, QAccessible::StaticText, QString::fromStdString(installCommand)));
    ASSERT_NE(command, nullptr);
    for (const ColorMode mode :
         {ColorMode{Scheme::light, Contrast::high}, ColorMode{Scheme::dark, Contrast::high},
          ColorMode{Scheme::light, Contrast::high}, ColorMode{Scheme::light, Contrast::normal}}) {
        setColorMode(mode);
        runPostedEvents();
        EXPECT_EQ(command->palette().color(command->foregroundRole()),
                  textColor(ColorRole::orange, mode));
    }
}

TEST_F(SettingsLooksTest, aFontChangeKeepsTheTypedText) {
    open();
    field()->setText(QStringLiteral("dev_typed"));
    click("Show");
    const DoubledFont larger;
    runPostedEvents();
    time.runPending();
    runPostedEvents();
    EXPECT_EQ(field()->text(), QStringLiteral("dev_typed"));
    EXPECT_EQ(field()->echoMode(), QLineEdit::Normal);
    EXPECT_EQ(field()->font().pointSizeF(), QApplication::font().pointSizeF());
    for (const QAccessibleInterface* node : controls(*window)) {
        auto* const widget = qobject_cast<QWidget*>(node->object());
        EXPECT_GE(widget->height(), widget->minimumSizeHint().height())
            << node->text(QAccessible::Name).toStdString();
        EXPECT_LE(widget->mapTo(window, widget->rect().bottomRight()).x(), 480)
            << node->text(QAccessible::Name).toStdString();
    }
}

} // namespace

} // namespace kestrelnet
