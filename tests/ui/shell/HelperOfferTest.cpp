// SPDX-License-Identifier: MIT
// The alert that offers to install the helper.
#include "tests/ui/shell/KestrelnetAppTest.h"

#include "tests/support/EventLoop.h"
#include "tests/support/FakeClient.h"
#include "ui/settings/SettingsWindow.h"
#include "ui/widgets/Alert.h"

#include <QCoreApplication>
#include <QPushButton>
#include <QtTest/QTest>

#include <cstddef>
#include <filesystem>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

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

} // namespace

} // namespace kestrelnet
