// SPDX-License-Identifier: MIT
#include "ui/shell/TrayIcon.h"

#include "tests/ui/WidgetTest.h"

#include <QAction>

namespace kestrelnet {

namespace {

class TrayIconTest : public WidgetTest {
  protected:
    TrayIconTest() {
        tunnel->apiKey = validKey;
        redraw();
    }
    std::string toolTip() const { return icon.icon().toolTip().toStdString(); }

    void become(TunnelStatus status) {
        tunnel->status = status;
        redraw();
    }
    std::string menuItems() const {
        QStringList items;
        for (const QAction* action : icon.menu().actions()) {
            if (action->isVisible() && !action->isSeparator()) {
                items.append(action->text());
            }
        }
        return items.join(u'|').toStdString();
    }
    void choose(const QString& item) const {
        for (QAction* action : icon.menu().actions()) {
            if (action->text() == item) {
                action->trigger();
            }
        }
    }
    static void activate(const TrayIcon& activated, QSystemTrayIcon::ActivationReason reason) {
        const_cast<QSystemTrayIcon&>(activated.icon()).activated(reason);
    }
    void activate(QSystemTrayIcon::ActivationReason reason) const { activate(icon, reason); }
    TrayIcon::Actions recording() {
        const auto note = [this](const char* what) { return [this, what] { done += what; }; };
        return {.togglePanel = note("toggle panel;"),
                .openPanel = note("open panel;"),
                .toggleTunnel = note("toggle tunnel;"),
                .showSettings = note("settings;"),
                .quit = note("quit;")};
    }

    std::string done;
    TrayIcon icon{*tunnel, time.mainQueue(), recording()};
};

TEST_F(TrayIconTest, isTheFilledShieldOnlyWhileConnected) {
    const qint64 plain = icon.icon().icon().cacheKey();
    become(TunnelStatus::connected);
    const qint64 filled = icon.icon().icon().cacheKey();
    EXPECT_NE(filled, plain);
    for (const auto status : {TunnelStatus::reconnecting, TunnelStatus::connecting,
                              TunnelStatus::error, TunnelStatus::disconnected}) {
        become(status);
        EXPECT_EQ(icon.icon().icon().cacheKey(), plain) << rawValue(status);
    }
    become(TunnelStatus::connected);
    EXPECT_EQ(icon.icon().icon().cacheKey(), filled);
}

TEST_F(TrayIconTest, theToolTipShowsTheStatus) {
    EXPECT_EQ(toolTip(), "Kestrelnet VPN: Disconnected");
    become(TunnelStatus::reconnecting);
    EXPECT_EQ(toolTip(), "Kestrelnet VPN: Reconnecting...");
}

TEST_F(TrayIconTest, followsInTheNextTurnOfTheMainLoop) {
    tunnel->status = TunnelStatus::connected;
    tunnel->lastLog = "one";
    tunnel->lastLog = "two";
    EXPECT_EQ(toolTip(), "Kestrelnet VPN: Disconnected");
    EXPECT_EQ(time.pendingCount(), 1U);
    time.runPending();
    EXPECT_EQ(toolTip(), "Kestrelnet VPN: Connected");
}

TEST_F(TrayIconTest, theMenuOffersEverythingThatThePanelDoes) {
    EXPECT_EQ(menuItems(), "Disconnected|Open Kestrelnet|Connect|Settings...|Quit");
    become(TunnelStatus::connected);
    EXPECT_EQ(menuItems(), "Connected|Open Kestrelnet|Disconnect|Settings...|Quit");
    tunnel->apiKey = "";
    redraw();
    EXPECT_EQ(menuItems(), "Connected|Open Kestrelnet|Settings...|Quit");
}

TEST_F(TrayIconTest, theMenuBeginsWithTheStateWhichCannotBeChosen) {
    tunnel->exitIP = "203.0.113.42";
    become(TunnelStatus::connected);
    const QAction* const first = icon.menu().actions().first();
    EXPECT_EQ(first->text(), QStringLiteral("Connected, exit IP 203.0.113.42"));
    EXPECT_FALSE(first->isEnabled());
    EXPECT_TRUE(icon.menu().actions().at(1)->isSeparator());
}

TEST_F(TrayIconTest, theStateShowsAnAmpersand) {
    tunnel->exitIP = "a&b";
    become(TunnelStatus::connected);
    EXPECT_EQ(icon.menu().actions().first()->iconText(), QStringLiteral("Connected, exit IP a&b"));
}

TEST_F(TrayIconTest, theMenuChangesOnlyWhenItsTextChanges) {
    become(TunnelStatus::connected);
    int changes = 0;
    for (const QAction* action : icon.menu().actions()) {
        QObject::connect(action, &QAction::changed, &icon.menu(), [&changes] { ++changes; });
    }
    for (int line = 0; line < 100; ++line) {
        tunnel->lastLog = std::to_string(line);
        tunnel->serverLocation = std::to_string(line);
        redraw();
    }
    EXPECT_EQ(changes, 0);
    tunnel->exitIP = "203.0.113.42";
    redraw();
    EXPECT_EQ(changes, 1);
}

TEST_F(TrayIconTest, eachMenuItemCallsItsAction) {
    for (const char* item : {"Open Kestrelnet", "Connect", "Settings...", "Quit"}) {
        choose(QLatin1StringView(item));
    }
    EXPECT_EQ(done, "open panel;toggle tunnel;settings;quit;");
}

TEST_F(TrayIconTest, aClickTogglesThePanelAndADoubleClickLeavesItOpen) {
    activate(QSystemTrayIcon::Trigger);
    EXPECT_EQ(done, "toggle panel;");
    activate(QSystemTrayIcon::DoubleClick);
    EXPECT_EQ(done, "toggle panel;open panel;");
    activate(QSystemTrayIcon::MiddleClick);
    activate(QSystemTrayIcon::Context);
    EXPECT_EQ(done, "toggle panel;open panel;");
}

TEST_F(TrayIconTest, theTrayOpensTheMenu) {
    EXPECT_EQ(icon.icon().contextMenu(), &icon.menu());
    activate(QSystemTrayIcon::Context);
    EXPECT_FALSE(icon.menu().isVisible());
}

TEST_F(TrayIconTest, aClickOpensOnlyThePanelWhereTheTrayWouldOpenTheMenuAtEachClick) {
    TrayIcon other(*tunnel, time.mainQueue(), recording(), {.opensMenuAtEachClick = true});
    EXPECT_EQ(other.icon().contextMenu(), nullptr);
    activate(other, QSystemTrayIcon::Trigger);
    EXPECT_EQ(done, "toggle panel;");
    EXPECT_FALSE(other.menu().isVisible());
    activate(other, QSystemTrayIcon::Context);
    EXPECT_EQ(done, "toggle panel;");
    EXPECT_TRUE(other.menu().isVisible());
}

TEST_F(TrayIconTest, theIconIsAMaskOnlyWhereTheTrayDrawsItsShape) {
    EXPECT_FALSE(icon.icon().icon().isMask());
    const TrayIcon other(*tunnel, time.mainQueue(), recording(), {.drawsShapeOnly = true});
    EXPECT_TRUE(other.icon().icon().isMask());
    become(TunnelStatus::connected);
    EXPECT_TRUE(other.icon().icon().isMask());
}

} // namespace

} // namespace kestrelnet
