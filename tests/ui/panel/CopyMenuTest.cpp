// SPDX-License-Identifier: MIT
#include "ui/panel/CopyMenu.h"

#include "tests/ui/WidgetTest.h"
#include "ui/panel/MenuBarView.h"

#include <QApplication>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QMenu>
#include <QtTest/QTest>

namespace kestrelnet {

namespace {

class CopyMenuTest : public WidgetTest {
  protected:
    CopyMenuTest() {
        tunnel->apiKey = validKey;
        tunnel->exitIP = "203.0.113.7";
        tunnel->lastLog = "Keepalive answered in 21 ms";
        tunnel->status = TunnelStatus::connected;
        QApplication::clipboard()->setText(QStringLiteral("before"));
        view.show();
    }
    ~CopyMenuTest() override { close(); }

    static QMenu* menu() { return qobject_cast<QMenu*>(QApplication::activePopupWidget()); }
    static void close() {
        if (menu() != nullptr) {
            menu()->close();
        }
    }
    static QStringList labels() {
        QStringList labels;
        for (const QAction* action : menu() != nullptr ? menu()->actions() : QList<QAction*>()) {
            labels.append(action->text());
        }
        return labels;
    }
    static std::string copied() { return QApplication::clipboard()->text().toStdString(); }
    /// Chooses the entry, as a click or the Return key does.
    static void choose(qsizetype index) {
        ASSERT_NE(menu(), nullptr);
        menu()->setActiveAction(menu()->actions().at(index));
        QTest::keyClick(menu(), Qt::Key_Return);
    }
    /// As a click of the right button on the text.
    void openOn(const QString& text) {
        auto* const row = qobject_cast<QWidget*>(control(view, QAccessible::StaticText, text));
        ASSERT_NE(row, nullptr);
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(1, 1),
                                row->mapToGlobal(QPoint(1, 1)));
        QApplication::sendEvent(row, &event);
    }
    const QStringList both{QStringLiteral("Copy Exit IP"), QStringLiteral("Copy Last Line")};

    MenuBarView view{*tunnel, time.mainQueue(), {}};
};

TEST_F(CopyMenuTest, opensByTheMouseOnBothTexts) {
    for (const char* text : {"Exit IP: 203.0.113.7", "Keepalive answered in 21 ms"}) {
        openOn(QLatin1StringView(text));
        EXPECT_EQ(labels(), both);
        close();
    }
}

TEST_F(CopyMenuTest, copiesTheAddressAlone) {
    openOn(QStringLiteral("Exit IP: 203.0.113.7"));
    choose(0);
    EXPECT_EQ(copied(), "203.0.113.7");
}

TEST_F(CopyMenuTest, copiesTheWholeLastLine) {
    const std::string line = "begin " + std::string(10'000, 'x') + " end";
    tunnel->lastLog = line;
    openOn(QStringLiteral("Exit IP: 203.0.113.7"));
    choose(1);
    EXPECT_EQ(copied(), line);
}

TEST_F(CopyMenuTest, copiesWhatWasShownWhenItOpened) {
    openOn(QStringLiteral("Exit IP: 203.0.113.7"));
    tunnel->exitIP = std::nullopt;
    tunnel->status = TunnelStatus::error;
    time.runPending();
    choose(0);
    EXPECT_EQ(copied(), "203.0.113.7");
}

TEST_F(CopyMenuTest, copiesNoControlCharacters) {
    tunnel->lastLog = "\x1b[31mred\r <b>";
    openOn(QStringLiteral("Exit IP: 203.0.113.7"));
    choose(1);
    EXPECT_EQ(copied(), "\ufffd[31mred  <b>");
}

TEST_F(CopyMenuTest, theKeyboardOpensItFromEachButton) {
    view.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
    for (const char* label : {"Disconnect", "Settings...", "Quit"}) {
        button(view, QLatin1StringView(label))->setFocus();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_F10, Qt::ShiftModifier);
        EXPECT_EQ(labels(), both) << label;
        ASSERT_NE(menu(), nullptr);
        QTest::keyClick(menu(), Qt::Key_Down);
        QTest::keyClick(menu(), Qt::Key_Return);
        EXPECT_EQ(copied(), "Keepalive answered in 21 ms");
        EXPECT_EQ(menu(), nullptr);
    }
}

TEST_F(CopyMenuTest, theMenuKeyOpensIt) {
    QContextMenuEvent event(QContextMenuEvent::Keyboard, QPoint(1, 1), view.mapToGlobal(QPoint()));
    QApplication::sendEvent(button(view, QStringLiteral("Quit")), &event);
    EXPECT_EQ(labels(), both);
    ASSERT_NE(menu(), nullptr);
    EXPECT_EQ(menu()->activeAction(), menu()->actions().constFirst());
}

TEST_F(CopyMenuTest, offersOnlyWhatThePanelShows) {
    tunnel->status = TunnelStatus::reconnecting;
    time.runPending();
    openOn(QStringLiteral("Keepalive answered in 21 ms"));
    EXPECT_EQ(labels(), QStringList{QStringLiteral("Copy Last Line")});
    close();
    tunnel->lastLog = "";
    time.runPending();
    openOn(QStringLiteral("Status: Reconnecting..."));
    EXPECT_EQ(menu(), nullptr);
}

TEST_F(CopyMenuTest, isAccessible) {
    openOn(QStringLiteral("Exit IP: 203.0.113.7"));
    ASSERT_NE(menu(), nullptr);
    const QAccessibleInterface* node = QAccessible::queryAccessibleInterface(menu());
    ASSERT_EQ(node->childCount(), 2);
    EXPECT_EQ(node->child(0)->role(), QAccessible::MenuItem);
    EXPECT_EQ(node->child(0)->text(QAccessible::Name), QStringLiteral("Copy Exit IP"));
}

} // namespace

} // namespace kestrelnet
