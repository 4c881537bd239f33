// SPDX-License-Identifier: MIT
#include "ui/panel/Panel.h"

#include "tests/support/EventLoop.h"
#include "tests/ui/WidgetTest.h"
#include "ui/widgets/TextRow.h"

#include <QApplication>
#include <QScreen>
#include <QWindow>
#include <QtTest/QTest>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

class PanelTest : public WidgetTest {
  protected:
    PanelTest() { tunnel->apiKey = validKey; }

    std::unique_ptr<Panel> make(Panel::Form form, Panel::Closing closing = Panel::Closing::hides) {
        return std::make_unique<Panel>(form, Panel::Context{.tunnel = *tunnel,
                                                            .mainQueue = time.mainQueue(),
                                                            .clock = time.clock(),
                                                            .actions = {},
                                                            .appeared = [this] { ++appearances; },
                                                            .closing = closing});
    }
    static bool becomesActive(QWidget& window) {
        return waitUntil([&window] { return window.isActiveWindow(); });
    }
    /// The user clicks on the tray or on another program's window.
    void leave() {
        elsewhere.show();
        elsewhere.requestActivate();
        ASSERT_TRUE(waitUntil([] { return QApplication::activeWindow() == nullptr; }));
    }
    /// The user activates another window of this program.
    void takeActivity() {
        other.show();
        other.activateWindow();
        ASSERT_TRUE(becomesActive(other));
    }

    int appearances = 0;
    std::unique_ptr<Panel> popup = make(Panel::Form::popup);
    QWidget other;
    /// The toolkit's widgets do not know it, as they do not know another program's window.
    QWindow elsewhere;
};

TEST_F(PanelTest, opensWithoutFrameInAFixedSizeOnTheScreen) {
    popup->open();
    ASSERT_TRUE(becomesActive(*popup));
    EXPECT_TRUE(popup->windowFlags().testFlag(Qt::FramelessWindowHint));
    EXPECT_EQ(popup->windowFlags() & Qt::WindowType_Mask, Qt::Tool);
    EXPECT_EQ(popup->width(), 280);
    EXPECT_EQ(popup->minimumSize(), popup->maximumSize());
    EXPECT_TRUE(popup->screen()->availableGeometry().contains(popup->geometry()));
    EXPECT_EQ(popup->windowTitle(), QStringLiteral("Kestrelnet VPN"));
}

TEST_F(PanelTest, isPlacedAgainWhereTheWindowManagerHasMovedIt) {
    popup->open();
    const QPoint wanted = popup->pos();
    popup->move(wanted + QPoint(3, 22));
    EXPECT_TRUE(waitUntil([&] { return popup->pos() == wanted; }));
}

TEST_F(PanelTest, staysWhereTheWindowManagerInsistsOnMovingIt) {
    popup->open();
    const QPoint wanted = popup->pos();
    int returns = 0;
    for (; returns < 10; ++returns) {
        popup->move(wanted + QPoint(3, 22));
        QCoreApplication::processEvents();
        if (popup->pos() != wanted) {
            break;
        }
    }
    EXPECT_EQ(returns, 3);
}

TEST_F(PanelTest, growsAndShrinksWithItsContent) {
    popup->open();
    const int before = popup->height();
    tunnel->lastLog = "a line";
    redraw();
    EXPECT_TRUE(waitUntil([&] { return popup->height() > before; }));
    EXPECT_EQ(popup->width(), 280);
    tunnel->lastLog = "";
    redraw();
    EXPECT_TRUE(waitUntil([&] { return popup->height() == before; }));
}

/// Changes the size of the desktop's font until it is destroyed.
class ScopedFontSize {
  public:
    explicit ScopedFontSize(double factor) {
        QFont larger = before_;
        larger.setPointSizeF(before_.pointSizeF() * factor);
        QApplication::setFont(larger);
    }
    ~ScopedFontSize() { QApplication::setFont(before_); }
    ScopedFontSize(const ScopedFontSize&) = delete;
    ScopedFontSize& operator=(const ScopedFontSize&) = delete;

  private:
    QFont before_ = QApplication::font();
};

TEST_F(PanelTest, followsTheFontSizeWhileItIsOpen) {
    popup->open();
    const int before = popup->height();
    const QStringList content = texts(*popup);
    {
        const ScopedFontSize larger(2);
        EXPECT_TRUE(waitUntil([&] { return popup->height() > before * 5 / 4; }));
        EXPECT_EQ(popup->width(), 280);
        EXPECT_EQ(texts(*popup), content);
    }
    EXPECT_TRUE(waitUntil([&] { return popup->height() == before; }));
}

TEST_F(PanelTest, keepsItsExplanationWhenTheFontChanges) {
    const auto window = make(Panel::Form::window);
    window->explainWindow();
    window->open();
    const QStringList content = texts(*window);
    const ScopedFontSize larger(2);
    EXPECT_EQ(texts(*window), content);
    window->close();
    window->open();
    EXPECT_EQ(texts(*window).last(), QStringLiteral("Quit"));
}

TEST_F(PanelTest, everythingIsReadableAtTwiceTheFontSize) {
    const ScopedFontSize larger(2);
    for (const bool isConfigured : {true, false}) {
        tunnel->apiKey = isConfigured ? validKey : "";
        for (const auto status :
             {TunnelStatus::disconnected, TunnelStatus::reconnecting, TunnelStatus::connected}) {
            tunnel->status = status;
            tunnel->exitIP = "203.0.113.142";
            tunnel->serverLocation = "Zurich";
            redraw();
            popup->open();
            for (const auto* label : popup->findChildren<QLabel*>()) {
                const auto* const row = dynamic_cast<const TextRow*>(label);
                if (row != nullptr && row->isVisible()) {
                    EXPECT_EQ(row->shownLines().join(QString()).remove(u' '),
                              row->text().remove(u' '));
                    EXPECT_GE(row->height(), row->sizeHint().height());
                }
            }
            for (const auto* shown : popup->findChildren<QAbstractButton*>()) {
                if (shown->isVisible()) {
                    EXPECT_GE(shown->width(), shown->minimumSizeHint().width());
                    EXPECT_GE(shown->height(), shown->minimumSizeHint().height());
                    const QRect place(shown->mapTo(popup.get(), QPoint()), shown->size());
                    EXPECT_TRUE(popup->rect().contains(place)) << shown->text().toStdString();
                }
            }
        }
    }
}

TEST_F(PanelTest, escapeClosesIt) {
    popup->open();
    QTest::keyClick(popup.get(), Qt::Key_Escape);
    EXPECT_FALSE(popup->isVisible());
}

TEST_F(PanelTest, escapeOnAButtonClosesIt) {
    popup->open();
    ASSERT_TRUE(becomesActive(*popup));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(popup->isVisible());
}

TEST_F(PanelTest, opensWithTheFocusOnTheMainButton) {
    popup->open();
    ASSERT_TRUE(becomesActive(*popup));
    EXPECT_EQ(QApplication::focusWidget(), button(*popup, QStringLiteral("Connect")));
}

TEST_F(PanelTest, hidesWhenAnotherWindowBecomesActive) {
    popup->open();
    ASSERT_TRUE(becomesActive(*popup));
    takeActivity();
    EXPECT_FALSE(popup->isVisible());
}

TEST_F(PanelTest, hidesSoonAfterAnotherProgramBecomesActive) {
    popup->open();
    ASSERT_TRUE(becomesActive(*popup));
    leave();
    time.advance(49ms);
    EXPECT_TRUE(popup->isVisible());
    time.advance(1ms);
    EXPECT_FALSE(popup->isVisible());
}

TEST_F(PanelTest, staysOpenWhenItBecomesActiveAgainAtOnce) {
    popup->open();
    ASSERT_TRUE(becomesActive(*popup));
    leave();
    popup->activateWindow();
    ASSERT_TRUE(becomesActive(*popup));
    time.advance(1s);
    EXPECT_TRUE(popup->isVisible());
}

TEST_F(PanelTest, staysOpenForItsOwnDialog) {
    popup->open();
    ASSERT_TRUE(becomesActive(*popup));
    QWidget dialog(popup.get(), Qt::Dialog);
    dialog.show();
    dialog.activateWindow();
    ASSERT_TRUE(becomesActive(dialog));
    EXPECT_TRUE(popup->isVisible());
}

TEST_F(PanelTest, clicksOnTheIconOpenAndCloseIt) {
    popup->toggle();
    EXPECT_TRUE(popup->isVisible());
    popup->toggle();
    EXPECT_FALSE(popup->isVisible());
    popup->toggle();
    EXPECT_TRUE(popup->isVisible());
}

TEST_F(PanelTest, closesIfTheClickIsReportedAfterTheDeactivation) {
    popup->toggle();
    ASSERT_TRUE(becomesActive(*popup));
    leave();
    time.advance(200ms);
    popup->toggle();
    EXPECT_FALSE(popup->isVisible());
    popup->toggle();
    EXPECT_TRUE(popup->isVisible());
}

TEST_F(PanelTest, closesIfTheClickIsReportedBeforeTheDeactivation) {
    popup->toggle();
    ASSERT_TRUE(becomesActive(*popup));
    popup->toggle();
    leave();
    EXPECT_FALSE(popup->isVisible());
    popup->toggle();
    EXPECT_TRUE(popup->isVisible());
}

TEST_F(PanelTest, opensAgainSomeTimeAfterItsDeactivation) {
    popup->toggle();
    ASSERT_TRUE(becomesActive(*popup));
    leave();
    time.advance(300ms);
    popup->toggle();
    EXPECT_TRUE(popup->isVisible());
}

TEST_F(PanelTest, opensAtOnceAfterAnotherOwnWindowClosedIt) {
    popup->toggle();
    ASSERT_TRUE(becomesActive(*popup));
    takeActivity();
    popup->toggle();
    EXPECT_TRUE(popup->isVisible());
}

TEST_F(PanelTest, reportsEachAppearance) {
    popup->open();
    popup->open();
    EXPECT_EQ(appearances, 1);
    popup->hide();
    popup->open();
    EXPECT_EQ(appearances, 2);
}

TEST_F(PanelTest, anOrdinaryWindowStaysOpen) {
    const auto window = make(Panel::Form::window);
    window->open();
    ASSERT_TRUE(becomesActive(*window));
    EXPECT_EQ(window->windowFlags() & Qt::WindowType_Mask, Qt::Window);
    EXPECT_FALSE(window->windowFlags().testFlag(Qt::FramelessWindowHint));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Kestrelnet VPN"));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    EXPECT_TRUE(window->isVisible());
    takeActivity();
    EXPECT_TRUE(window->isVisible());
    window->toggle();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(becomesActive(*window));
}

TEST_F(PanelTest, aClosedWindowIsHiddenAndCanBeOpened) {
    const auto window = make(Panel::Form::window);
    window->open();
    window->close();
    EXPECT_FALSE(window->isVisible());
    window->open();
    EXPECT_TRUE(window->isVisible());
}

TEST_F(PanelTest, aClosedWindowIsMinimizedIfItCannotBeReopened) {
    const auto window = make(Panel::Form::window, Panel::Closing::minimizes);
    window->open();
    window->close();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(window->isMinimized());
    window->open();
    EXPECT_FALSE(window->isMinimized());
    EXPECT_EQ(appearances, 1);
}

TEST_F(PanelTest, explainsOnceWhyItIsAWindow) {
    const auto window = make(Panel::Form::window);
    window->explainWindow();
    window->open();
    EXPECT_TRUE(texts(*window).last().startsWith(QStringLiteral("This desktop has no tray")));
    const int explained = window->sizeHint().height();
    window->close();
    window->open();
    EXPECT_EQ(texts(*window).last(), QStringLiteral("Quit"));
    EXPECT_LT(window->sizeHint().height(), explained);
}

} // namespace

} // namespace kestrelnet
