// SPDX-License-Identifier: MIT
#include "tests/support/TemporaryFolder.h"
#include "tests/ui/WidgetTest.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/shell/KestrelnetApp.h"

#include <QApplication>

#include <gmock/gmock.h>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

using testing::HasSubstr;
using testing::IsSupersetOf;

template <typename Window>
bool isOpen() {
    for (const QWidget* widget : QApplication::topLevelWidgets()) {
        if (dynamic_cast<const Window*>(widget) != nullptr && widget->isVisible()) {
            return true;
        }
    }
    return false;
}

class ApplicationActionsTest : public WidgetTest {
  protected:
    void start(const char* key = validKey) {
        tunnel->apiKey = key;
        installHelper();
        tunnel.reset();
        app = std::make_unique<KestrelnetApp>(KestrelnetApp::Outside{
            .platform = world.platform, .terminate = [this] { ++terminations; }});
        app->trayAppeared();
    }
    void set(TunnelStatus status) {
        app->tunnel().status = status;
        app->tunnel().lastLog = "";
    }
    /// There is no client, so an attempt to connect fails at once.
    bool hasTriedToConnect() const {
        return app->tunnel().lastLog->starts_with("kestrelnet-client not found");
    }
    TunnelStatus status() const { return app->tunnel().status; }

    int terminations = 0;
    std::unique_ptr<KestrelnetApp> app;
};

constexpr std::array downStates{TunnelStatus::disconnected, TunnelStatus::error};
constexpr std::array upStates{TunnelStatus::connecting, TunnelStatus::connected,
                              TunnelStatus::reconnecting};

TEST_F(ApplicationActionsTest, connectAndToggleDoWhatTheConnectButtonDoes) {
    start();
    for (const char* action : {"connect", "toggle"}) {
        for (const TunnelStatus down : downStates) {
            set(down);
            app->act(action);
            EXPECT_TRUE(hasTriedToConnect()) << action << rawValue(down);
        }
    }
    EXPECT_FALSE(isOpen<QWidget>());
}

TEST_F(ApplicationActionsTest, disconnectAndToggleDoWhatTheDisconnectButtonDoes) {
    start();
    for (const char* action : {"disconnect", "toggle"}) {
        for (const TunnelStatus up : upStates) {
            set(up);
            app->act(action);
            EXPECT_EQ(status(), TunnelStatus::disconnected) << action << rawValue(up);
            EXPECT_FALSE(hasTriedToConnect());
        }
    }
    EXPECT_FALSE(isOpen<QWidget>());
}

TEST_F(ApplicationActionsTest, connectAndDisconnectDoNothingWhereThereIsNoSuchButton) {
    start();
    for (const TunnelStatus up : upStates) {
        set(up);
        app->act("connect");
        EXPECT_EQ(status(), up);
        EXPECT_FALSE(hasTriedToConnect());
    }
    for (const TunnelStatus down : downStates) {
        set(down);
        app->act("disconnect");
        EXPECT_EQ(status(), down);
        EXPECT_FALSE(hasTriedToConnect());
    }
}

TEST_F(ApplicationActionsTest, withoutAKeyConnectingOpensThePanel) {
    for (const char* action : {"connect", "toggle"}) {
        start("");
        app->act(action);
        EXPECT_TRUE(isOpen<Panel>()) << action;
        EXPECT_EQ(*app->tunnel().lastLog, "");
        EXPECT_EQ(status(), TunnelStatus::disconnected);
        app.reset();
        tunnel = std::make_shared<TunnelManager>(world.platform);
    }
}

TEST_F(ApplicationActionsTest, disconnectingNeedsNoKey) {
    start("");
    set(TunnelStatus::connected);
    app->act("disconnect");
    EXPECT_EQ(status(), TunnelStatus::disconnected);
}

TEST_F(ApplicationActionsTest, settingsOpensTheSettings) {
    start();
    app->act("settings");
    EXPECT_TRUE(isOpen<SettingsWindow>());
    EXPECT_FALSE(isOpen<Panel>());
}

TEST_F(ApplicationActionsTest, quitEndsAnUnusedProgramAtOnce) {
    start();
    app->act("quit");
    EXPECT_EQ(terminations, 1);
    app->act("quit");
    time.advance(10s);
    EXPECT_EQ(terminations, 1);
}

TEST_F(ApplicationActionsTest, quitDoesWhatTheQuitButtonDoes) {
    for (const bool isConnected : {false, true}) {
        terminations = 0;
        start();
        if (isConnected) {
            set(TunnelStatus::connected);
        } else {
            app->openPanel();
        }
        app->act("quit");
        EXPECT_EQ(status(), TunnelStatus::disconnected);
        time.advance(499ms);
        EXPECT_EQ(terminations, 0);
        time.advance(1ms);
        EXPECT_EQ(terminations, 1);
        app.reset();
        tunnel = std::make_shared<TunnelManager>(world.platform);
    }
}

TEST_F(ApplicationActionsTest, nothingIsDoneWhileTheProgramEnds) {
    start();
    app->openPanel();
    app->quit();
    set(TunnelStatus::disconnected);
    for (const std::string& action : KestrelnetApp::actionNames()) {
        app->act(action);
    }
    EXPECT_FALSE(hasTriedToConnect());
    EXPECT_FALSE(isOpen<SettingsWindow>());
}

TEST(DesktopEntryTest, itsActionsAreTheApplications) {
    const std::string entry = readFile(KESTRELNET_DESKTOP_ENTRY);
    EXPECT_THAT(entry, HasSubstr("\nActions=connect;disconnect;settings;quit;\n"));
    const std::vector<std::string> listed{"connect", "disconnect", "settings", "quit"};
    EXPECT_THAT(KestrelnetApp::actionNames(), IsSupersetOf(listed));
    for (const std::string& action : listed) {
        EXPECT_THAT(entry, HasSubstr("\n[Desktop Action " + action + "]\n"));
        EXPECT_THAT(entry,
                    HasSubstr("\nExec=gapplication action com.kestrelnetvpn.app " + action + '\n'));
    }
}

} // namespace

} // namespace kestrelnet
