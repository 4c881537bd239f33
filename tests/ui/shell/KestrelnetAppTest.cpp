// SPDX-License-Identifier: MIT
#include "tests/ui/shell/KestrelnetAppTest.h"

#include "tests/support/EventLoop.h"
#include "ui/settings/SettingsWindow.h"

#include <QCoreApplication>
#include <QImage>
#include <QLineEdit>
#include <QtTest/QTest>

#include <vector>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

TEST_F(KestrelnetAppTest, aSetupLinkSetsTheKeyAndOpensSettings) {
    startWithTray();
    app->handleURL("kestrelnet://setup?key=dev_1234567");
    EXPECT_EQ(*app->tunnel().apiKey, "dev_1234567");
    EXPECT_NE(visible<SettingsWindow>(), nullptr);
    EXPECT_EQ(world.reopenDefaults()->string("kestrelnet_api_key"), "dev_1234567");
}

TEST_F(KestrelnetAppTest, anyOtherLinkChangesNothing) {
    startWithTray();
    int notices = 0;
    const auto subscription = app->tunnel().objectWillChange.subscribe([&notices] { ++notices; });
    for (const char* url :
         {"kestrelnet://setup?key=dev_123456", "kestrelnet://setup?key=abc_1234567890",
          "kestrelnet://other?key=dev_1234567890", "kestrelnet://setup?key&key=dev_1234567890",
          "KESTRELNET://setup?key=dev_1234567890", "kestrelnet://connect", ""}) {
        app->handleURL(url);
    }
    EXPECT_EQ(notices, 0);
    EXPECT_EQ(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, noLinkConnects) {
    installHelper();
    startWithTray();
    app->handleURL("kestrelnet://setup?key=dev_1234567");
    time.advance(10s);
    EXPECT_EQ(lastLog(), "");
    EXPECT_EQ(app->tunnel().status, TunnelStatus::disconnected);
}

TEST_F(KestrelnetAppTest, quitDisconnectsAtOnceAndEndsHalfASecondLater) {
    startWithTray();
    app->tunnel().exitIP = "203.0.113.7";
    app->tunnel().status = TunnelStatus::connected;
    app->quit();
    EXPECT_EQ(app->tunnel().status, TunnelStatus::disconnected);
    time.advance(490ms);
    EXPECT_EQ(terminations, 0);
    time.advance(10ms);
    EXPECT_EQ(terminations, 1);
}

TEST_F(KestrelnetAppTest, quittingAgainWhileQuittingChangesNothing) {
    startWithTray();
    app->quit();
    time.advance(490ms);
    app->tunnel().status = TunnelStatus::error;
    app->quit();
    EXPECT_EQ(app->tunnel().status, TunnelStatus::error) << "disconnected once more";
    time.advance(10ms);
    EXPECT_EQ(terminations, 1);
    time.advance(10s);
    EXPECT_EQ(terminations, 1);
}

TEST_F(KestrelnetAppTest, thePanelsButtonsCallTheShell) {
    tunnel->apiKey = validKey;
    installHelper();
    startWithTray();
    app->openPanel();
    const Panel& panel = *visible<Panel>();
    button(panel, QStringLiteral("Connect"))->click();
    EXPECT_TRUE(hasTriedToConnect());
    button(panel, QStringLiteral("Settings..."))->click();
    EXPECT_NE(visible<SettingsWindow>(), nullptr);
    button(panel, QStringLiteral("Quit"))->click();
    time.advance(500ms);
    EXPECT_EQ(terminations, 1);
}

TEST_F(KestrelnetAppTest, settingsAreOneWindowThatComesToTheFront) {
    startWithTray();
    app->showSettingsWindow();
    auto* const settings = visible<SettingsWindow>();
    ASSERT_NE(settings, nullptr);
    EXPECT_EQ(settings->size(), QSize(480, 560));
    EXPECT_EQ(settings->minimumSize(), settings->maximumSize());
    EXPECT_EQ(settings->windowTitle(), QStringLiteral("Kestrelnet Settings"));
    settings->showMinimized();
    app->showSettingsWindow();
    EXPECT_FALSE(settings->isMinimized());
    EXPECT_TRUE(waitUntil([&] { return settings->isActiveWindow(); }));
    QTest::keyClick(settings, Qt::Key_Escape);
    EXPECT_EQ(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, settingsStartWithInitialValuesEachTimeTheyOpen) {
    startWithTray();
    for (int round = 0; round < 3; ++round) {
        app->showSettingsWindow();
        auto* const settings = visible<SettingsWindow>();
        ASSERT_NE(settings, nullptr);
        auto* const field = qobject_cast<QLineEdit*>(settings->focusWidget());
        ASSERT_NE(field, nullptr);
        EXPECT_EQ(field->text(), QString());
        EXPECT_EQ(field->echoMode(), QLineEdit::Password);
        QTest::keyClicks(field, QStringLiteral("dev_typed"));
        button(*settings, QStringLiteral("Show"))->click();
        EXPECT_EQ(field->echoMode(), QLineEdit::Normal);
        settings->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    EXPECT_EQ(*app->tunnel().apiKey, "");
}

TEST_F(KestrelnetAppTest, windowsHaveTheApplicationsIcon) {
    startWithTray();
    app->showSettingsWindow();
    const QImage icon = visible<SettingsWindow>()->windowIcon().pixmap(64).toImage();
    ASSERT_EQ(icon.size(), QSize(64, 64));
    // A white shield on blue, with transparent corners.
    EXPECT_EQ(icon.pixelColor(0, 0).alpha(), 0);
    EXPECT_GT(icon.pixelColor(10, 32).blue(), 150);
    EXPECT_LT(icon.pixelColor(10, 32).red(), 100);
    EXPECT_GT(icon.pixelColor(32, 14).red(), 200);
}

TEST_F(KestrelnetAppTest, theSettingsWindowClosesWithTheApplication) {
    startWithTray();
    app->showSettingsWindow();
    app.reset();
    EXPECT_EQ(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, aDropIsNotifiedAndAClickOpensThePanel) {
    std::vector<Notification> shown;
    int withdrawals = 0;
    app = std::make_unique<KestrelnetApp>(
        KestrelnetApp::Outside{.platform = world.platform,
                               .terminate = [] {},
                               .notify = [&](const Notification& it) { shown.push_back(it); },
                               .withdrawNotification = [&] { ++withdrawals; }});
    app->trayAppeared();
    app->tunnel().status = TunnelStatus::connected;
    app->tunnel().status = TunnelStatus::error;
    app->tunnel().lastLog = "VPN process exited unexpectedly";
    time.advance(1s);
    ASSERT_EQ(shown.size(), 1U);
    EXPECT_EQ(shown[0].summary, "VPN disconnected");
    shown[0].opened();
    EXPECT_NE(visible<Panel>(), nullptr);
    app->quit();
    time.runPending();
    EXPECT_EQ(withdrawals, 1);
    app.reset();
    shown[0].opened();
}

TEST_F(KestrelnetAppTest, mayBeDestroyedWithJobsPending) {
    startWithTray();
    app->openPanel();
    app->quit();
    app.reset();
    time.advance(10s);
    EXPECT_EQ(terminations, 0);
}

} // namespace

} // namespace kestrelnet
