// SPDX-License-Identifier: MIT
#include "ui/SettingsView.h"

#include "tests/support/EventLoop.h"
#include "tests/ui/WidgetTest.h"
#include "ui/Alert.h"
#include "ui/Colors.h"
#include "ui/SettingsWindow.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QDesktopServices>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QtTest/QTest>

#include <filesystem>
#include <gmock/gmock.h>

namespace kestrelnet {

namespace {

using testing::HasSubstr;
using testing::Not;

/// Takes the place of the default browser.
class Browser final : public QObject {
    Q_OBJECT

  public:
    Browser() { QDesktopServices::setUrlHandler(QStringLiteral("https"), this, "open"); }
    ~Browser() override { QDesktopServices::unsetUrlHandler(QStringLiteral("https")); }
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    Q_INVOKABLE void open(const QUrl& url) { opened.append(url.toString()); }

    QStringList opened;
};

class SettingsViewTest : public WidgetTest {
  protected:
    SettingsViewTest() { tunnel->apiKey = validKey; }
    ~SettingsViewTest() override {
        delete window;
        QApplication::setPalette(QPalette());
        runPostedEvents();
    }

    void open() {
        SettingsFacts facts;
        facts.version = "1.2.3";
        facts.operatorValues.productDomain = "kestrel.example";
        window = new SettingsWindow(
            {.tunnel = *tunnel, .mainQueue = time.mainQueue(), .facts = facts, .terminate = [this] {
                 ++terminations;
             }});
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    }
    std::string shown() const { return texts(*window).join(u'|').toStdString(); }
    void click(const char* label) const {
        auto* const found = button(*window, QLatin1StringView(label));
        ASSERT_NE(found, nullptr) << label;
        found->click();
    }
    QLineEdit* field() const {
        return qobject_cast<QLineEdit*>(
            control(*window, QAccessible::EditableText, QStringLiteral("Device API Key")));
    }
    QCheckBox* switchOf(const char* label) const {
        return qobject_cast<QCheckBox*>(
            control(*window, QAccessible::CheckBox, QLatin1StringView(label)));
    }
    Alert* alert() const {
        for (auto* const found : window->findChildren<Alert*>()) {
            if (found->isVisible()) {
                return found;
            }
        }
        return nullptr;
    }
    static void runDeferredDeletes() {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    const std::string installCommand = tunnel->installCommand();
    QPointer<SettingsWindow> window;
    int terminations = 0;
};

TEST_F(SettingsViewTest, ShowsAllSectionsFromTopToBottom) {
    world.root.write("usr/local/bin/kestrelnet-client", "");
    open();
    EXPECT_EQ(shown(), "Device API Key|Device API Key|Show|Save|Key saved|Get your key from |"
                       "kestrel.example/portal|"
                       "Connection|Status|Disconnected|Connect|"
                       "Startup|Start at login|Connect automatically|"
                       "Helper|Privileged helper|Not installed|"
                       "The helper allows connecting without a password prompt each time.|"
                       "Install Helper...|"
                       "About|Version|1.2.3|Binary|" +
                           world.platform.paths.systemClient +
                           "|kestrel.example|"
                           "Uninstall Kestrelnet...");
    EXPECT_EQ(window->size(), QSize(480, 560));
}

TEST_F(SettingsViewTest, ShowsEveryRowThatMayBeThere) {
    tunnel->setAutoConnect(true);
    tunnel->exitIP = "203.0.113.7";
    tunnel->serverLocation = "fra-2";
    tunnel->lastLog = "a line";
    tunnel->status = TunnelStatus::reconnecting;
    open();
    EXPECT_THAT(shown(), HasSubstr("Status|Reconnecting...|Exit IP|203.0.113.7|Server|fra-2|"
                                   "Disconnect|a line|Startup"));
    EXPECT_THAT(shown(), HasSubstr("Connect automatically|Install the helper first to enable "
                                   "auto-connect (no password prompt)|Helper"));
    EXPECT_THAT(shown(), HasSubstr("Binary|Not found|Install the client binary first:|"
                                   "curl -sSL https://kestrelnet.example/downloads/"
                                   "install-client.sh | sh|kestrel.example"));
}

TEST_F(SettingsViewTest, WithoutAKeyNothingIsSavedAndNothingConnects) {
    tunnel->apiKey = "dev_123456";
    open();
    EXPECT_THAT(shown(), Not(HasSubstr("Key saved")));
    EXPECT_THAT(shown(), Not(HasSubstr("|Connect|")));
}

// -- Key -----------------------------------------------------------------------------------------

TEST_F(SettingsViewTest, TheFieldIsEmptyMaskedAndHasTheFocus) {
    open();
    EXPECT_EQ(QApplication::focusWidget(), field());
    EXPECT_EQ(field()->text(), QString());
    EXPECT_EQ(field()->placeholderText(), QStringLiteral("dev_..."));
    EXPECT_EQ(field()->echoMode(), QLineEdit::Password);
    EXPECT_TRUE(QAccessible::queryAccessibleInterface(field())->state().passwordEdit);
}

TEST_F(SettingsViewTest, ShowAndHideUnmaskAndMask) {
    open();
    field()->setText(QStringLiteral("dev_x"));
    click("Show");
    EXPECT_EQ(field()->echoMode(), QLineEdit::Normal);
    EXPECT_TRUE(field()->font().fixedPitch());
    EXPECT_EQ(field()->text(), QStringLiteral("dev_x"));
    click("Hide");
    EXPECT_EQ(field()->echoMode(), QLineEdit::Password);
    EXPECT_FALSE(field()->font().fixedPitch());
}

TEST_F(SettingsViewTest, TypingTheStoredKeyDisablesSaveAndTheNextLetterEnablesIt) {
    open();
    EXPECT_TRUE(button(*window, QStringLiteral("Save"))->isEnabled());
    field()->setText(QString::fromUtf8(validKey));
    EXPECT_FALSE(button(*window, QStringLiteral("Save"))->isEnabled());
    field()->setText(QString::fromUtf8(validKey) + u'x');
    EXPECT_TRUE(button(*window, QStringLiteral("Save"))->isEnabled());
}

TEST_F(SettingsViewTest, SavingTheEmptyFieldClearsTheKey) {
    open();
    click("Save");
    time.runPending();
    EXPECT_EQ(*tunnel->apiKey, "");
    EXPECT_FALSE(button(*window, QStringLiteral("Save"))->isEnabled());
    EXPECT_THAT(shown(), Not(HasSubstr("Key saved")));
}

TEST_F(SettingsViewTest, SavingStoresWhatWasTypedAsItStands) {
    open();
    for (const char* text :
         {" dev_with blanks ", "short", "dev_\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9"}) {
        field()->setText(QString::fromUtf8(text));
        click("Save");
        time.runPending();
        EXPECT_EQ(*tunnel->apiKey, text);
        EXPECT_EQ(world.reopenDefaults()->string("kestrelnet_api_key"), text);
        EXPECT_EQ(field()->text(), QString::fromUtf8(text));
    }
}

TEST_F(SettingsViewTest, AVeryLongKeyStaysWhole) {
    open();
    const std::string key = "dev_" + std::string(100'000, 'x');
    field()->setText(QString::fromStdString(key));
    click("Save");
    EXPECT_EQ(*tunnel->apiKey, key);
}

TEST_F(SettingsViewTest, ReturnSavesOnlyWhatCanBeSaved) {
    open();
    int notices = 0;
    const auto subscription = tunnel->objectWillChange.subscribe([&notices] { ++notices; });
    QTest::keyClicks(field(), QString::fromUtf8(validKey));
    QTest::keyClick(field(), Qt::Key_Return);
    EXPECT_EQ(notices, 0);
    QTest::keyClicks(field(), QStringLiteral("8"));
    QTest::keyClick(field(), Qt::Key_Return);
    EXPECT_EQ(*tunnel->apiKey, "dev_12345678");
}

// -- Connection ----------------------------------------------------------------------------------

TEST_F(SettingsViewTest, TheButtonTogglesTheTunnel) {
    open();
    click("Connect");
    EXPECT_EQ(tunnel->status, TunnelStatus::error);
    EXPECT_THAT(*tunnel->lastLog, HasSubstr("kestrelnet-client not found"));
    tunnel->status = TunnelStatus::connected;
    time.runPending();
    click("Disconnect");
    EXPECT_EQ(tunnel->status, TunnelStatus::disconnected);
}

TEST_F(SettingsViewTest, FollowsTheTunnelOnceATurn) {
    open();
    tunnel->status = TunnelStatus::connecting;
    tunnel->lastLog = "one";
    tunnel->lastLog = "two";
    EXPECT_EQ(time.pendingCount(), 1U);
    time.runPending();
    EXPECT_THAT(shown(), HasSubstr("Connecting...|Disconnect|two|"));
}

TEST_F(SettingsViewTest, HostileTextsAreTextAndKeepWithinTheWindow) {
    tunnel->exitIP = "<img src=x>\n\n\n" + std::string(1'000'000, 'x');
    tunnel->serverLocation = "\u202e<b>fra</b>\r\n" + std::string(5000, '\0');
    tunnel->lastLog = std::string(1'000'000, '\n') + "<h1>" + std::string(5000, 'y');
    open();
    EXPECT_THAT(shown(), HasSubstr("<b>fra</b>"));
    for (const QAccessibleInterface* node : controls(*window)) {
        const QRect place = node->rect().translated(-window->mapToGlobal(QPoint()));
        EXPECT_GE(place.left(), 0);
        EXPECT_LE(place.right(), 480) << node->text(QAccessible::Name).left(40).toStdString();
    }
    EXPECT_LT(window->findChild<QScrollArea*>()->widget()->height(), 1200);
}

// -- Startup -------------------------------------------------------------------------------------

TEST_F(SettingsViewTest, StartAtLoginInstallsAndRemovesTheAgent) {
    open();
    const std::string agent =
        world.root.file("home/Library/LaunchAgents/com.kestrelnetvpn.app.plist");
    auto* const startAtLogin = switchOf("Start at login");
    ASSERT_FALSE(startAtLogin->isChecked());
    startAtLogin->click();
    time.runPending();
    EXPECT_TRUE(startAtLogin->isChecked());
    EXPECT_TRUE(world.reopenDefaults()->boolean("kestrelnet_start_at_login"));
    EXPECT_TRUE(std::filesystem::exists(agent));
    startAtLogin->click();
    time.runPending();
    EXPECT_FALSE(startAtLogin->isChecked());
    EXPECT_FALSE(world.reopenDefaults()->boolean("kestrelnet_start_at_login"));
    EXPECT_FALSE(std::filesystem::exists(agent));
}

TEST_F(SettingsViewTest, AutoConnectNeedsTheHelper) {
    open();
    auto* const autoConnect = switchOf("Connect automatically");
    EXPECT_FALSE(autoConnect->isEnabled());
    tunnel->helperInstalled = true;
    time.runPending();
    ASSERT_TRUE(autoConnect->isEnabled());
    autoConnect->click();
    time.runPending();
    EXPECT_TRUE(tunnel->autoConnect());
    EXPECT_TRUE(autoConnect->isChecked());
    tunnel->helperInstalled = false;
    time.runPending();
    EXPECT_FALSE(autoConnect->isEnabled());
    EXPECT_TRUE(autoConnect->isChecked());
    EXPECT_THAT(shown(), HasSubstr("Install the helper first"));
}

TEST_F(SettingsViewTest, ASwitchShowsWhatWasStoredNotWhatWasPressed) {
    // No setting can be written where a folder stands in the file's place.
    std::filesystem::remove(world.defaultsFile);
    std::filesystem::create_directory(world.defaultsFile);
    open();
    auto* const startAtLogin = switchOf("Start at login");
    startAtLogin->click();
    time.runPending();
    EXPECT_EQ(startAtLogin->isChecked(), tunnel->startAtLogin());
}

TEST_F(SettingsViewTest, TheWholeRowOfASwitchCanBePressedAndReturnDoesItToo) {
    open();
    auto* const startAtLogin = switchOf("Start at login");
    QTest::mouseClick(startAtLogin, Qt::LeftButton, {}, startAtLogin->rect().center());
    EXPECT_TRUE(tunnel->startAtLogin());
    startAtLogin->setFocus();
    QTest::keyClick(startAtLogin, Qt::Key_Return);
    EXPECT_FALSE(tunnel->startAtLogin());
    QTest::keyClick(startAtLogin, Qt::Key_Space);
    EXPECT_TRUE(tunnel->startAtLogin());
}

TEST_F(SettingsViewTest, AnAssistiveProgramFlipsASwitchToo) {
    open();
    auto* const action =
        QAccessible::queryAccessibleInterface(switchOf("Start at login"))->actionInterface();
    ASSERT_TRUE(action->actionNames().contains(QAccessibleActionInterface::toggleAction()));
    action->doAction(QAccessibleActionInterface::toggleAction());
    EXPECT_TRUE(tunnel->startAtLogin());
}

TEST_F(SettingsViewTest, AChangeFromElsewhereIsShownAndNotStoredAgain) {
    open();
    world.reopenDefaults()->set("kestrelnet_start_at_login", true);
    int notices = 0;
    const auto subscription = tunnel->objectWillChange.subscribe([&notices] { ++notices; });
    tunnel->lastLog = "line";
    time.runPending();
    EXPECT_TRUE(switchOf("Start at login")->isChecked());
    EXPECT_EQ(notices, 1);
}

// -- Helper and about ----------------------------------------------------------------------------

TEST_F(SettingsViewTest, InstallHelperAsksForItAndGoesOnceItIsThere) {
    open();
    world.root.write("Kestrelnet.app/Contents/Resources/install-helper.sh", "");
    world.root.write("helpers/com.kestrelnetvpn.tunnel", "");
    click("Install Helper...");
    // No prompt can be launched here, so that the answer is only what is on the disk.
    time.runPending();
    EXPECT_TRUE(tunnel->helperInstalled);
    EXPECT_THAT(shown(), HasSubstr("Privileged helper|Installed|"));
    EXPECT_THAT(shown(), Not(HasSubstr("Install Helper...")));
}

TEST_F(SettingsViewTest, LinksOpenInTheBrowser) {
    const Browser browser;
    open();
    for (const char* name : {"kestrel.example/portal", "kestrel.example"}) {
        auto* const link = qobject_cast<QPushButton*>(
            control(*window, QAccessible::Link, QLatin1StringView(name)));
        ASSERT_NE(link, nullptr) << name;
        link->setFocus();
        QTest::keyClick(link, Qt::Key_Return);
    }
    EXPECT_EQ(browser.opened.join(u'|').toStdString(),
              "https://kestrel.example/portal|https://kestrel.example");
}

TEST_F(SettingsViewTest, TheInstallCommandCanBeSelectedWholeAndNotChanged) {
    open();
    auto* const text = qobject_cast<QLabel*>(
        control(*window, QAccessible::StaticText, QString::fromStdString(installCommand)));
    ASSERT_NE(text, nullptr);
    text->setFocus(Qt::TabFocusReason);
    EXPECT_EQ(text->selectedText().toStdString(), installCommand);
    QTest::keyClicks(text, QStringLiteral("x"));
    EXPECT_EQ(text->text().toStdString(), installCommand);
    QTest::mouseClick(text, Qt::LeftButton, {}, text->rect().center());
    EXPECT_FALSE(text->hasSelectedText());
    QTest::keySequence(text, QKeySequence::SelectAll);
    EXPECT_EQ(text->selectedText().toStdString(), installCommand);
    EXPECT_LE(text->sizeHint().height(), text->height());
}

TEST_F(SettingsViewTest, AClientThatWasInstalledMeanwhileIsSeenWhenTheWindowIsBack) {
    open();
    EXPECT_THAT(shown(), HasSubstr("Not found"));
    world.root.write("usr/local/bin/kestrelnet-client", "");
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    time.runPending();
    EXPECT_THAT(shown(), Not(HasSubstr("Not found")));
}

// -- Uninstalling --------------------------------------------------------------------------------

TEST_F(SettingsViewTest, UninstallingIsConfirmedFirst) {
    open();
    click("Uninstall Kestrelnet...");
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(texts(*alert()).join(u'|').toStdString(),
              "Uninstall Kestrelnet?|This will remove the privileged helper, launch agent, "
              "configuration, and ~/.kestrelnet directory. The app itself will remain in "
              "Applications.|Cancel|Uninstall");
    EXPECT_EQ(alert()->windowModality(), Qt::WindowModal);
}

TEST_F(SettingsViewTest, CancelReturnAndEscapeDoNothing) {
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

TEST_F(SettingsViewTest, UninstallRemovesAllAndSaysSo) {
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

TEST_F(SettingsViewTest, TheEndDismissedInAnotherWayLeavesTheProgramRunning) {
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

TEST_F(SettingsViewTest, TheEndIsToldAlsoWhenTheWindowWasClosedMeanwhile) {
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

// -- Keyboard, assistive programs, looks ---------------------------------------------------------

TEST_F(SettingsViewTest, TabReachesEveryControlInTheOrderOfReading) {
    tunnel->helperInstalled = true;
    open();
    QStringList order;
    for (int presses = 0; presses < 10; ++presses) {
        const auto* node = QAccessible::queryAccessibleInterface(QApplication::focusWidget());
        order.append(node->text(QAccessible::Name));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    EXPECT_EQ(order.join(u'|').toStdString(),
              "Device API Key|Show|Save|kestrel.example/portal|Connect|Start at login|"
              "Connect automatically|" +
                  installCommand + "|kestrel.example|Uninstall Kestrelnet...");
    EXPECT_EQ(QApplication::focusWidget(), field());
}

TEST_F(SettingsViewTest, WhatHasTheFocusIsInView) {
    open();
    for (int presses = 0; presses < 12; ++presses) {
        const QWidget* const focused = QApplication::focusWidget();
        const QRect place(focused->mapTo(window, QPoint()), focused->size());
        EXPECT_TRUE(window->rect().contains(place)) << presses;
        EXPECT_EQ(focused->visibleRegion().boundingRect(), focused->rect()) << presses;
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
}

TEST_F(SettingsViewTest, TheFocusIsVisible) {
    open();
    for (int presses = 0; presses < 10; ++presses) {
        QWidget* const focused = QApplication::focusWidget();
        const QImage with = focused->grab().toImage();
        focused->clearFocus();
        EXPECT_NE(focused->grab().toImage(), with) << presses;
        focused->setFocus();
        QTest::keyClick(focused, Qt::Key_Tab);
    }
}

TEST_F(SettingsViewTest, EveryControlHasANameAndEveryValueItsLabel) {
    tunnel->exitIP = "203.0.113.7";
    open();
    for (const QAccessibleInterface* node : controls(*window)) {
        EXPECT_FALSE(node->text(QAccessible::Name).isEmpty());
    }
    auto* const value = control(*window, QAccessible::StaticText, QStringLiteral("203.0.113.7"));
    const auto relations =
        QAccessible::queryAccessibleInterface(value)->relations(QAccessible::Label);
    ASSERT_EQ(relations.size(), 1);
    EXPECT_EQ(relations[0].first->text(QAccessible::Name), QStringLiteral("Exit IP"));
}

TEST_F(SettingsViewTest, FollowsThePaletteToDarkAndBack) {
    open();
    for (const Scheme scheme : {Scheme::light, Scheme::dark, Scheme::light}) {
        QApplication::setPalette(schemePalette(scheme));
        runPostedEvents();
        EXPECT_EQ(window->grab().toImage().pixelColor(2, 2),
                  schemePalette(scheme).color(QPalette::Window));
    }
}

TEST_F(SettingsViewTest, AnotherFontKeepsWhatWasTyped) {
    open();
    field()->setText(QStringLiteral("dev_typed"));
    click("Show");
    const QFont before = QApplication::font();
    QFont larger = before;
    larger.setPointSizeF(before.pointSizeF() * 2);
    QApplication::setFont(larger);
    runPostedEvents();
    time.runPending();
    runPostedEvents();
    EXPECT_EQ(field()->text(), QStringLiteral("dev_typed"));
    EXPECT_EQ(field()->echoMode(), QLineEdit::Normal);
    EXPECT_EQ(field()->font().pointSizeF(), larger.pointSizeF());
    for (const QAccessibleInterface* node : controls(*window)) {
        auto* const widget = qobject_cast<QWidget*>(node->object());
        EXPECT_GE(widget->height(), widget->minimumSizeHint().height())
            << node->text(QAccessible::Name).toStdString();
        EXPECT_LE(widget->mapTo(window, widget->rect().bottomRight()).x(), 480)
            << node->text(QAccessible::Name).toStdString();
    }
    QApplication::setFont(before);
}

} // namespace

} // namespace kestrelnet

#include "SettingsViewTest.moc"
