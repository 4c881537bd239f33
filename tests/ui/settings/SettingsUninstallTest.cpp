// SPDX-License-Identifier: MIT
// Uninstalling from the settings window.
#include "tests/ui/settings/SettingsViewTest.h"

#include <QtTest/QTest>

#include <filesystem>

namespace kestrelnet {

namespace {

class SettingsUninstallTest : public SettingsViewTest {};

TEST_F(SettingsUninstallTest, uninstallingIsConfirmedFirst) {
    open();
    click("Uninstall Kestrelnet...");
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(texts(*alert()).join(u'|').toStdString(),
              "Uninstall Kestrelnet?|This will remove the privileged helper, launch agent, "
              "configuration, and ~/.kestrelnet directory. The app itself will remain in "
              "Applications.|Cancel|Uninstall");
    EXPECT_EQ(alert()->windowModality(), Qt::WindowModal);
}

TEST_F(SettingsUninstallTest, cancelReturnAndEscapeDoNothing) {
    world.root.write("home/.kestrelnet/file", "");
    open();
    for (int way = 0; way < 3; ++way) {
        click("Uninstall Kestrelnet...");
        ASSERT_NE(alert(), nullptr) << way;
        if (way == 0) {
            button(*alert(), QStringLiteral("Cancel"))->click();
        } else {
            QTest::keyClick(alert(), way == 1 ? Qt::Key_Return : Qt::Key_Escape);
        }
        EXPECT_EQ(alert(), nullptr) << way;
        runDeferredDeletes();
        time.advance(Seconds(10));
    }
    EXPECT_TRUE(std::filesystem::exists(world.root.file("home/.kestrelnet/file")));
    EXPECT_NE(world.reopenDefaults()->string("kestrelnet_api_key"), std::nullopt);
}

TEST_F(SettingsUninstallTest, uninstallRemovesEverythingAndReportsIt) {
    world.root.write("home/.kestrelnet/file", "");
    open();
    click("Uninstall Kestrelnet...");
    button(*alert(), QStringLiteral("Uninstall"))->click();
    EXPECT_FALSE(std::filesystem::exists(world.root.file("home/.kestrelnet")));
    EXPECT_EQ(world.reopenDefaults()->string("kestrelnet_api_key"), std::nullopt);
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(texts(*alert()).join(u'|').toStdString(),
              "Uninstall Complete|All Kestrelnet components have been removed. You can delete the "
              "app from Applications.|Quit");
    EXPECT_EQ(terminations, 0);
    button(*alert(), QStringLiteral("Quit"))->click();
    EXPECT_EQ(terminations, 1);
}

TEST_F(SettingsUninstallTest, dismissingTheLastAlertWithoutQuitLeavesTheProgramRunning) {
    open();
    for (const bool byKey : {true, false}) {
        click("Uninstall Kestrelnet...");
        button(*alert(), QStringLiteral("Uninstall"))->click();
        ASSERT_NE(alert(), nullptr);
        if (byKey) {
            QTest::keyClick(alert(), Qt::Key_Escape);
        } else {
            alert()->close();
        }
        EXPECT_EQ(alert(), nullptr);
        runDeferredDeletes();
        time.runPending();
    }
    EXPECT_EQ(terminations, 0);
    EXPECT_TRUE(window->isVisible());
}

TEST_F(SettingsUninstallTest, aFontChangeLeavesOneWorkingQuestion) {
    open();
    click("Uninstall Kestrelnet...");
    const DoubledFont larger;
    runPostedEvents();
    time.runPending();
    runPostedEvents();
    int questions = 0;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        questions += dynamic_cast<Alert*>(widget) != nullptr && widget->isVisible() ? 1 : 0;
    }
    EXPECT_EQ(questions, 1);
    ASSERT_NE(alert(), nullptr);
    button(*alert(), QStringLiteral("Uninstall"))->click();
    EXPECT_EQ(world.reopenDefaults()->string("kestrelnet_api_key"), std::nullopt);
    EXPECT_EQ(alert()->windowTitle(), QStringLiteral("Uninstall Complete"));
}

TEST_F(SettingsUninstallTest, theResultIsReportedEvenIfTheWindowWasClosed) {
    tunnel->status = TunnelStatus::error;
    open();
    click("Uninstall Kestrelnet...");
    button(*alert(), QStringLiteral("Uninstall"))->click();
    window->close();
    runDeferredDeletes();
    ASSERT_EQ(window, nullptr);
    time.advance(Seconds(2));
    Alert* told = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* const found = dynamic_cast<Alert*>(widget);
        told = found != nullptr && found->isVisible() ? found : told;
    }
    ASSERT_NE(told, nullptr);
    button(*told, QStringLiteral("Quit"))->click();
    EXPECT_EQ(terminations, 1);
    runDeferredDeletes();
}

} // namespace

} // namespace kestrelnet
