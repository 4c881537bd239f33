// SPDX-License-Identifier: MIT
// What the application opens and connects at its start and at the panel's first appearance, with
// and without a tray.
#include "tests/ui/shell/KestrelnetAppTest.h"

#include "ui/settings/SettingsWindow.h"
#include "ui/widgets/Alert.h"

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

TEST_F(KestrelnetAppTest, nothingOpensAndNothingConnectsAtStart) {
    tunnel->apiKey = validKey;
    tunnel->setAutoConnect(true);
    installHelper();
    startWithTray();
    time.advance(10s);
    EXPECT_EQ(visible<QWidget>(), nullptr);
    EXPECT_EQ(lastLog(), "");
}

TEST_F(KestrelnetAppTest, firstLaunchWithoutAKeyOpensSettingsAfterHalfASecond) {
    startWithTray();
    app->openPanel();
    time.advance(490ms);
    EXPECT_EQ(visible<SettingsWindow>(), nullptr);
    time.advance(10ms);
    EXPECT_NE(visible<SettingsWindow>(), nullptr);
    EXPECT_EQ(visible<Alert>(), nullptr);
}

TEST_F(KestrelnetAppTest, laterAppearancesOpenNoSettings) {
    startWithTray();
    app->openPanel();
    time.advance(500ms);
    visible<SettingsWindow>()->close();
    closePanel();
    app->openPanel();
    time.advance(10s);
    EXPECT_EQ(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, withHelperAndAutoConnectTheFirstAppearanceConnectsOnce) {
    tunnel->apiKey = validKey;
    tunnel->setAutoConnect(true);
    installHelper();
    startWithTray();
    app->openPanel();
    EXPECT_TRUE(hasTriedToConnect());
    EXPECT_EQ(visible<Alert>(), nullptr);
    app->tunnel().lastLog = "";
    closePanel();
    app->openPanel();
    EXPECT_EQ(lastLog(), "");
}

TEST_F(KestrelnetAppTest, withHelperAndWithoutAutoConnectNothingHappens) {
    tunnel->apiKey = validKey;
    installHelper();
    startWithTray();
    app->openPanel();
    time.advance(10s);
    EXPECT_EQ(lastLog(), "");
    EXPECT_EQ(visible<Alert>(), nullptr);
    EXPECT_EQ(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, withoutATrayThePanelOpensAsAWindowAndExplainsItOnce) {
    tunnel->apiKey = validKey;
    installHelper();
    start(StartCause::person);
    app->trayAbsent();
    ASSERT_NE(visible<Panel>(), nullptr);
    EXPECT_EQ(visible<Panel>()->form(), Panel::Form::window);
    EXPECT_TRUE(texts(*visible<Panel>()).last().startsWith(QStringLiteral("This desktop")));
    closePanel();
    app->openPanel();
    EXPECT_EQ(texts(*visible<Panel>()).last(), QStringLiteral("Quit"));
}

TEST_F(KestrelnetAppTest, withoutATrayTheWindowCountsAsTheFirstAppearance) {
    start(StartCause::person);
    app->trayAbsent();
    time.advance(500ms);
    EXPECT_NE(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, aPersonsStartOpensThePanelAsAPopup) {
    startWithTray(StartCause::person);
    ASSERT_NE(visible<Panel>(), nullptr);
    EXPECT_EQ(visible<Panel>()->form(), Panel::Form::popup);
    time.advance(500ms);
    EXPECT_NE(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, aPersonsStartOpensThePanelOnce) {
    tunnel->apiKey = validKey;
    installHelper();
    startWithTray(StartCause::person);
    closePanel();
    // The session bus has restarted.
    app->trayAppeared();
    EXPECT_EQ(visible<Panel>(), nullptr);
}

TEST_F(KestrelnetAppTest, atLoginATrayThatComesInTimeKeepsEveryWindowClosed) {
    start();
    app->trayAbsent();
    time.advance(9990ms);
    app->trayAppeared();
    time.advance(1h);
    EXPECT_EQ(visible<QWidget>(), nullptr);
}

TEST_F(KestrelnetAppTest, atLoginTheFirstLaunchRoutineWaitsForTheTrayAsWell) {
    tunnel->apiKey = validKey;
    tunnel->setAutoConnect(true);
    installHelper();
    start();
    app->trayAbsent();
    time.advance(9990ms);
    EXPECT_EQ(lastLog(), "");
    time.advance(10ms);
    EXPECT_TRUE(hasTriedToConnect());
}

TEST_F(KestrelnetAppTest, atLoginThePanelIsAWindowAfterTenSecondsWithoutATray) {
    start();
    time.advance(3s);
    app->trayAbsent();
    time.advance(6990ms);
    EXPECT_EQ(visible<Panel>(), nullptr);
    time.advance(10ms);
    ASSERT_NE(visible<Panel>(), nullptr);
    EXPECT_EQ(visible<Panel>()->form(), Panel::Form::window);
}

TEST_F(KestrelnetAppTest, aCompleteSessionShortensTheWaitForATray) {
    start();
    app->trayAbsent();
    time.advance(1s);
    app->sessionCompleted();
    time.advance(1990ms);
    EXPECT_EQ(visible<Panel>(), nullptr);
    time.advance(10ms);
    EXPECT_NE(visible<Panel>(), nullptr);
}

TEST_F(KestrelnetAppTest, aPersonEndsTheWaitForATray) {
    start();
    app->trayAbsent();
    app->openPanel();
    EXPECT_NE(visible<Panel>(), nullptr);
    closePanel();
    time.advance(1h);
    EXPECT_EQ(visible<Panel>(), nullptr) << "opened again after the wait";
}

TEST_F(KestrelnetAppTest, aSetupLinkEndsTheWaitForATray) {
    installHelper();
    start();
    app->trayAbsent();
    app->handleURL("kestrelnet://other?key=dev_1234567");
    EXPECT_EQ(visible<Panel>(), nullptr);
    app->handleURL("kestrelnet://setup?key=dev_1234567");
    EXPECT_NE(visible<Panel>(), nullptr);
    EXPECT_NE(visible<SettingsWindow>(), nullptr);
}

TEST_F(KestrelnetAppTest, theExplanationGoesWhenATrayComes) {
    tunnel->apiKey = validKey;
    installHelper();
    start(StartCause::person);
    app->trayAbsent();
    ASSERT_TRUE(texts(*visible<Panel>()).last().startsWith(QStringLiteral("This desktop")));
    app->trayAppeared();
    ASSERT_NE(visible<Panel>(), nullptr);
    EXPECT_EQ(texts(*visible<Panel>()).last(), QStringLiteral("Quit"));
}

TEST_F(KestrelnetAppTest, afterALateTrayTheNextPanelIsAPopup) {
    tunnel->apiKey = validKey;
    installHelper();
    start(StartCause::person);
    app->trayAbsent();
    app->trayAppeared();
    app->openPanel();
    EXPECT_EQ(visible<Panel>()->form(), Panel::Form::window);
    closePanel();
    app->openPanel();
    EXPECT_EQ(visible<Panel>()->form(), Panel::Form::popup);
}

} // namespace

} // namespace kestrelnet
