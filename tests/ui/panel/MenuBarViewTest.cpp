// SPDX-License-Identifier: MIT
#include "ui/panel/MenuBarView.h"

#include "tests/support/EventLoop.h"
#include "tests/ui/WidgetTest.h"
#include "ui/style/Colors.h"
#include "ui/widgets/TextRow.h"

#include <QAccessible>
#include <QApplication>
#include <QImage>
#include <QtTest/QTest>

#include <gmock/gmock.h>

#include <map>
#include <string>

namespace kestrelnet {

namespace {

class MenuBarViewTest : public WidgetTest {
  protected:
    MenuBarViewTest() { tunnel->apiKey = validKey; }
    ~MenuBarViewTest() override {
        setColorMode({});
        QApplication::setPalette(QPalette());
        runPostedEvents();
    }

    MenuBarView::Actions recording() {
        const auto note = [this](const char* what) { return [this, what] { done += what; }; };
        return {
            .toggle = note("toggle;"), .showSettings = note("settings;"), .quit = note("quit;")};
    }
    std::string shown() const { return texts(view).join(u'|').toStdString(); }
    int height() const { return view.sizeHint().height(); }
    void press(Qt::Key key) const { QTest::keyClick(QApplication::focusWidget(), key); }
    void showFocused() {
        view.show();
        view.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
        view.focusMainButton();
    }

    std::string done;
    MenuBarView view{*tunnel, time.mainQueue(), recording()};
};

TEST_F(MenuBarViewTest, showsAllRowsFromTopToBottom) {
    tunnel->exitIP = "203.0.113.7";
    tunnel->serverLocation = "fra-2";
    tunnel->lastLog = "Split-tunnel routes: 12";
    tunnel->status = TunnelStatus::connected;
    view.show();
    EXPECT_EQ(shown(), "Kestrelnet VPN|Status: Connected|Exit IP: 203.0.113.7|"
                       "Server: fra-2|Disconnect|Split-tunnel routes: 12|"
                       "Settings...|Quit");
    EXPECT_EQ(view.width(), 280);
}

TEST_F(MenuBarViewTest, anEmptyLogLineTakesNoSpace) {
    view.show();
    EXPECT_EQ(shown(), "Kestrelnet VPN|Status: Disconnected|Connect|Settings...|Quit");
    const int without = height();
    tunnel->lastLog = "x";
    redraw();
    EXPECT_GT(height(), without);
    tunnel->lastLog = "";
    redraw();
    EXPECT_EQ(height(), without);
}

TEST_F(MenuBarViewTest, aLogLineOfHundredsOfCharactersTakesTwoLines) {
    tunnel->lastLog = "begin " + std::string(600, 'x') + " end";
    view.show();
    const QLabel* log = nullptr;
    for (const QLabel* label : view.findChildren<QLabel*>()) {
        log = label->text().startsWith(QStringLiteral("begin")) ? label : log;
    }
    ASSERT_NE(log, nullptr);
    const QStringList lines = dynamic_cast<const TextRow&>(*log).shownLines();
    EXPECT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines.join(QString()).contains(u'\u2026'));
}

TEST_F(MenuBarViewTest, withoutAKeyTheSettingsButtonReplacesTheConnectButton) {
    tunnel->apiKey = "";
    view.show();
    EXPECT_EQ(shown(), "Kestrelnet VPN|Status: Disconnected|API key not set|"
                       "Open Settings...|Settings...|Quit");
    button(view, QStringLiteral("Open Settings..."))->click();
    EXPECT_EQ(done, "settings;");
    EXPECT_LT(button(view, QStringLiteral("Open Settings..."))->width(), MenuBarView::innerWidth);
}

TEST_F(MenuBarViewTest, theMainButtonFillsTheWidthAndIsNeverDisabled) {
    view.show();
    for (const auto status :
         {TunnelStatus::disconnected, TunnelStatus::connecting, TunnelStatus::connected,
          TunnelStatus::reconnecting, TunnelStatus::error}) {
        tunnel->status = status;
        redraw();
        const auto* const main = button(view, texts(view).at(2));
        ASSERT_NE(main, nullptr);
        EXPECT_EQ(main->width(), MenuBarView::innerWidth);
        EXPECT_TRUE(main->isEnabled());
    }
}

TEST_F(MenuBarViewTest, eachButtonHasItsAction) {
    view.show();
    for (const char* label : {"Connect", "Settings...", "Quit"}) {
        button(view, QLatin1StringView(label))->click();
    }
    EXPECT_EQ(done, "toggle;settings;quit;");
}

TEST_F(MenuBarViewTest, theKeyboardReachesAndPressesEveryButton) {
    showFocused();
    press(Qt::Key_Return);
    press(Qt::Key_Space);
    press(Qt::Key_Tab);
    press(Qt::Key_Enter);
    press(Qt::Key_Tab);
    press(Qt::Key_Space);
    EXPECT_EQ(done, "toggle;toggle;settings;quit;");
    press(Qt::Key_Tab);
    EXPECT_EQ(QApplication::focusWidget(), button(view, QStringLiteral("Connect")));
    press(Qt::Key_Backtab);
    EXPECT_EQ(QApplication::focusWidget(), button(view, QStringLiteral("Quit")));
}

TEST_F(MenuBarViewTest, aKeyThatIsHeldDownPressesOnce) {
    showFocused();
    QKeyEvent held(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QString(), true);
    QApplication::sendEvent(QApplication::focusWidget(), &held);
    EXPECT_EQ(done, "");
}

TEST_F(MenuBarViewTest, theFocusIsVisible) {
    showFocused();
    for (const char* label : {"Connect", "Settings...", "Quit"}) {
        auto* const control = button(view, QLatin1StringView(label));
        control->clearFocus();
        const QImage plain = control->grab().toImage();
        control->setFocus(Qt::TabFocusReason);
        EXPECT_NE(control->grab().toImage(), plain) << label;
    }
}

TEST_F(MenuBarViewTest, everyControlHasANameAndARole) {
    tunnel->lastLog = "line";
    view.show();
    QStringList buttons;
    for (const QAccessibleInterface* node : controls(view)) {
        EXPECT_FALSE(node->text(QAccessible::Name).isEmpty());
        if (node->role() == QAccessible::Button) {
            buttons.append(node->text(QAccessible::Name));
        }
    }
    EXPECT_EQ(buttons.join(u'|'), QStringLiteral("Connect|Settings...|Quit"));
}

TEST_F(MenuBarViewTest, redrawsOnceForManyNotices) {
    view.show();
    tunnel->status = TunnelStatus::connecting;
    tunnel->lastLog = "one";
    tunnel->lastLog = "two";
    EXPECT_EQ(time.pendingCount(), 1U);
    EXPECT_THAT(shown(), testing::HasSubstr("Status: Disconnected"));
    time.runPending();
    EXPECT_EQ(shown(), "Kestrelnet VPN|Status: Connecting...|Disconnect|two|"
                       "Settings...|Quit");
}

/// Counts what the widgets of a view paint, and the events that changes of their texts cause.
class EventCounter : public QObject {
  public:
    explicit EventCounter(QWidget& view) {
        for (QWidget* widget : view.findChildren<QWidget*>()) {
            widget->installEventFilter(this);
        }
    }
    std::map<QObject*, int> paints;
    int toolTips = 0;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        paints[watched] += event->type() == QEvent::Paint ? 1 : 0;
        toolTips += event->type() == QEvent::ToolTipChange ? 1 : 0;
        return false;
    }
};

TEST_F(MenuBarViewTest, aFloodOfLinesIsPaintedOncePerFrameAndNothingElseIs) {
    tunnel->lastLog = "line 100";
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    runPostedEvents();
    EventCounter counter(view);
    for (int line = 101; line <= 200; ++line) {
        tunnel->lastLog = "line " + std::to_string(line);
        time.advance(Seconds(0.001));
        runPostedEvents();
    }
    time.advance(Redraw::frame);
    runPostedEvents();
    EXPECT_THAT(shown(), testing::HasSubstr("line 200"));
    std::erase_if(counter.paints, [](const auto& each) { return each.second == 0; });
    ASSERT_EQ(counter.paints.size(), 1U);
    const auto& [painted, times] = *counter.paints.begin();
    EXPECT_EQ(dynamic_cast<const TextRow&>(*painted).text(), QStringLiteral("line 200"));
    EXPECT_GE(times, 5);
    EXPECT_LE(times, 8);
    EXPECT_EQ(counter.toolTips, 0);
}

TEST_F(MenuBarViewTest, doesNothingWhileHidden) {
    tunnel->status = TunnelStatus::error;
    EXPECT_EQ(time.pendingCount(), 0U);
    view.show();
    EXPECT_THAT(shown(), testing::HasSubstr("Status: Error"));
    view.hide();
    tunnel->status = TunnelStatus::connected;
    EXPECT_EQ(time.pendingCount(), 0U);
    view.show();
    EXPECT_THAT(shown(), testing::HasSubstr("Status: Connected"));
}

TEST_F(MenuBarViewTest, hostileTextsAreShownAsTextInTheSameWidth) {
    tunnel->exitIP = "<img src=x>\n\n\n" + std::string(1'000'000, 'x');
    tunnel->serverLocation = "\u202e<b>fra</b>\r\n" + std::string(5000, '\0');
    tunnel->lastLog = std::string(1'000'000, '\n') + "<h1>";
    tunnel->status = TunnelStatus::connected;
    view.show();
    EXPECT_EQ(view.width(), 280);
    EXPECT_LT(height(), 320);
    EXPECT_THAT(shown(), testing::HasSubstr("<b>fra</b>"));
}

TEST_F(MenuBarViewTest, followsThePaletteToDarkAndBack) {
    const auto cornerIn = [this](Scheme scheme) {
        setColorMode({.scheme = scheme});
        runPostedEvents();
        return view.grab().toImage().pixelColor(1, 1);
    };
    view.show();
    for (const Scheme scheme : {Scheme::light, Scheme::dark, Scheme::light}) {
        EXPECT_EQ(cornerIn(scheme), modePalette({.scheme = scheme}).color(QPalette::Window));
    }
}

TEST_F(MenuBarViewTest, mayBeDestroyedWithARedrawPending) {
    auto other = std::make_unique<MenuBarView>(*tunnel, time.mainQueue(), recording());
    other->show();
    tunnel->status = TunnelStatus::connecting;
    other.reset();
    time.runPending();
    tunnel->status = TunnelStatus::connected;
    EXPECT_EQ(time.pendingCount(), 0U);
}

} // namespace

} // namespace kestrelnet
