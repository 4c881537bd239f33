// SPDX-License-Identifier: MIT
#include "ui/shell/KestrelnetApp.h"

#include "tests/support/EventLoop.h"
#include "tests/support/FakeClient.h"
#include "tests/ui/WidgetTest.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/widgets/Alert.h"

#include <QApplication>
#include <QImage>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest/QTest>

#include <filesystem>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

/// The first visible top-level window of type `Window`, or null.
template <typename Window>
Window* visible() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* const window = dynamic_cast<Window*>(widget);
        if (window != nullptr && window->isVisible()) {
            return window;
        }
    }
    return nullptr;
}

class KestrelnetAppTest : public WidgetTest {
  protected:
    /// Starts the application with the present settings.
    void start(StartCause cause = StartCause::session) {
        tunnel.reset();
        app = std::make_unique<KestrelnetApp>(KestrelnetApp::Outside{
            .platform = world.platform, .terminate = [this] { ++terminations; }, .cause = cause});
    }
    void startWithTray(StartCause cause = StartCause::session) {
        start(cause);
        app->trayAppeared();
    }
    void closePanel() { visible<Panel>()->close(); }
    const std::string& lastLog() const { return app->tunnel().lastLog; }
    bool hasTriedToConnect() const { return lastLog().starts_with("kestrelnet-client not found"); }

    int terminations = 0;
    std::unique_ptr<KestrelnetApp> app;
};

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

TEST_F(KestrelnetAppTest, withoutHelperTheAlertOffersItAndNothingConnects) {
    for (const bool autoConnect : {false, true}) {
        start();
        app->tunnel().apiKey = validKey;
        app->tunnel().setAutoConnect(autoConnect);
        app->trayAppeared();
        app->openPanel();
        time.advance(10s);
        EXPECT_NE(visible<Alert>(), nullptr);
        EXPECT_EQ(lastLog(), "");
        EXPECT_EQ(visible<SettingsWindow>(), nullptr);
        app.reset();
    }
}

TEST_F(KestrelnetAppTest, theHelperAlertHasItsTextsAndButtons) {
    tunnel->apiKey = validKey;
    startWithTray();
    app->openPanel();
    auto* const alert = visible<Alert>();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->windowTitle(), QStringLiteral("Install Privileged Helper?"));
    EXPECT_EQ(texts(*alert).join(u'|').toStdString(),
              "Install Privileged Helper?|Kestrelnet needs a one-time helper install to connect "
              "without asking for your password each time. This requires admin privileges.|"
              "Install|Later");
    EXPECT_TRUE(qobject_cast<QPushButton*>(button(*alert, QStringLiteral("Install")))->isDefault());
    EXPECT_FALSE(alert->isModal());
}

TEST_F(KestrelnetAppTest, theHelperAlertOpensInFrontOfThePanelWhichStaysOpen) {
    tunnel->apiKey = validKey;
    startWithTray();
    app->openPanel();
    auto* const alert = visible<Alert>();
    ASSERT_NE(alert, nullptr);
    EXPECT_TRUE(waitUntil([alert] { return alert->isActiveWindow(); }));
    EXPECT_NE(visible<Panel>(), nullptr);
}

TEST_F(KestrelnetAppTest, theHelperAlertOpensOncePerRun) {
    tunnel->apiKey = validKey;
    startWithTray();
    app->openPanel();
    QTest::keyClick(visible<Alert>(), Qt::Key_Escape);
    EXPECT_EQ(visible<Alert>(), nullptr);
    closePanel();
    app->openPanel();
    EXPECT_EQ(visible<Alert>(), nullptr);
}

TEST_F(KestrelnetAppTest, eachButtonOfTheHelperAlertDismissesIt) {
    for (const char* which : {"Install", "Later"}) {
        start();
        app->tunnel().apiKey = validKey;
        app->trayAppeared();
        app->openPanel();
        auto* const alert = visible<Alert>();
        ASSERT_NE(alert, nullptr);
        button(*alert, QLatin1StringView(which))->click();
        EXPECT_EQ(visible<Alert>(), nullptr);
        app.reset();
    }
}

class HelperOfferTest : public KestrelnetAppTest {
  protected:
    /// Opens the alert. The script that installs the helper exists.
    void offer(bool autoConnect) {
        tunnel->apiKey = validKey;
        tunnel->setAutoConnect(autoConnect);
        world.root.write("Kestrelnet.app/Contents/Resources/install-helper.sh", "");
        startWithTray();
        app->openPanel();
    }
    static void choose(const QString& label) {
        auto* const choice = button(*visible<Alert>(), label);
        ASSERT_NE(choice, nullptr) << label.toStdString();
        choice->click();
    }
    /// Presses "Install" and waits until the prompt is open.
    void chooseInstall() {
        runner.installAt(world.platform.paths.osascript);
        choose(QStringLiteral("Install"));
        ASSERT_TRUE(time.waitHoldingMain([this] { return runner.isReady(); }));
    }
    /// Ends the prompt with `status` and runs the jobs that this posts.
    void endPrompt(int status) {
        const std::size_t waiting = time.pendingCount();
        runner.exit(status);
        ASSERT_TRUE(time.waitHoldingMain([&] { return time.pendingCount() > waiting; }));
        time.runPending();
    }
    void putHelperInPlace() const {
        std::filesystem::create_directories(world.platform.paths.helper);
    }

    const FakeClient runner{"script"};
};

TEST_F(HelperOfferTest, installingConnectsWhenAutoConnectIsOn) {
    offer(true);
    chooseInstall();
    putHelperInPlace();
    time.advance(10s);
    EXPECT_FALSE(hasTriedToConnect());
    endPrompt(0);
    EXPECT_TRUE(app->tunnel().helperInstalled);
    EXPECT_TRUE(hasTriedToConnect());
}

TEST_F(HelperOfferTest, installingDoesNotConnectWhenAutoConnectIsOff) {
    offer(false);
    chooseInstall();
    putHelperInPlace();
    endPrompt(0);
    EXPECT_TRUE(app->tunnel().helperInstalled);
    EXPECT_EQ(lastLog(), "");
}

TEST_F(HelperOfferTest, autoConnectTurnedOffDuringTheInstallationPreventsTheConnection) {
    offer(true);
    chooseInstall();
    putHelperInPlace();
    app->tunnel().setAutoConnect(false);
    endPrompt(0);
    EXPECT_EQ(lastLog(), "");
}

TEST_F(HelperOfferTest, autoConnectTurnedOnDuringTheInstallationConnects) {
    offer(false);
    chooseInstall();
    putHelperInPlace();
    app->tunnel().setAutoConnect(true);
    endPrompt(0);
    EXPECT_TRUE(hasTriedToConnect());
}

TEST_F(HelperOfferTest, aFailedInstallationChangesNothing) {
    offer(true);
    chooseInstall();
    endPrompt(1);
    EXPECT_EQ(lastLog(), "");
    EXPECT_EQ(app->tunnel().status, TunnelStatus::disconnected);
    EXPECT_EQ(visible<Alert>(), nullptr);
}

TEST_F(HelperOfferTest, theLaterButtonInstallsNothing) {
    offer(true);
    int notices = 0;
    const auto subscription = app->tunnel().objectWillChange.subscribe([&notices] { ++notices; });
    choose(QStringLiteral("Later"));
    time.advance(10s);
    // There is no program for the prompt. A failed attempt would have sent a notice by now.
    EXPECT_EQ(notices, 0);
}

TEST_F(HelperOfferTest, theAlertAndThePanelMayCloseDuringTheInstallation) {
    offer(true);
    chooseInstall();
    putHelperInPlace();
    closePanel();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    endPrompt(0);
    EXPECT_TRUE(hasTriedToConnect());
}

TEST_F(HelperOfferTest, theApplicationMayEndDuringTheInstallation) {
    offer(true);
    chooseInstall();
    putHelperInPlace();
    app.reset();
    endPrompt(0);
}

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
