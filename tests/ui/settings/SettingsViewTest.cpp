// SPDX-License-Identifier: MIT
#include "tests/ui/settings/SettingsViewTest.h"

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

/// Replaces the default browser.
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

TEST_F(SettingsViewTest, showsAllSectionsFromTopToBottom) {
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

TEST_F(SettingsViewTest, showsEveryOptionalRow) {
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

TEST_F(SettingsViewTest, withoutAKeyNothingIsSavedAndNothingConnects) {
    tunnel->apiKey = "dev_123456";
    open();
    EXPECT_THAT(shown(), Not(HasSubstr("Key saved")));
    EXPECT_THAT(shown(), Not(HasSubstr("|Connect|")));
}

// -- Key -----------------------------------------------------------------------------------------

TEST_F(SettingsViewTest, theFieldIsEmptyMaskedAndHasTheFocus) {
    open();
    EXPECT_EQ(QApplication::focusWidget(), field());
    EXPECT_EQ(field()->text(), QString());
    EXPECT_EQ(field()->placeholderText(), QStringLiteral("dev_..."));
    EXPECT_EQ(field()->echoMode(), QLineEdit::Password);
    EXPECT_TRUE(QAccessible::queryAccessibleInterface(field())->state().passwordEdit);
}

TEST_F(SettingsViewTest, showAndHideUnmaskAndMaskTheKey) {
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

TEST_F(SettingsViewTest, typingTheStoredKeyDisablesSaveAndTheNextLetterEnablesIt) {
    open();
    EXPECT_TRUE(button(*window, QStringLiteral("Save"))->isEnabled());
    field()->setText(QString::fromUtf8(validKey));
    EXPECT_FALSE(button(*window, QStringLiteral("Save"))->isEnabled());
    field()->setText(QString::fromUtf8(validKey) + u'x');
    EXPECT_TRUE(button(*window, QStringLiteral("Save"))->isEnabled());
}

TEST_F(SettingsViewTest, savingTheEmptyFieldClearsTheKey) {
    open();
    click("Save");
    time.runPending();
    EXPECT_EQ(*tunnel->apiKey, "");
    EXPECT_FALSE(button(*window, QStringLiteral("Save"))->isEnabled());
    EXPECT_THAT(shown(), Not(HasSubstr("Key saved")));
}

TEST_F(SettingsViewTest, savingStoresTheTypedTextUnchanged) {
    open();
    for (const char* text :
         {" dev_with blanks ", "short", "dev_\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9\u00E9"}) {
        field()->setText(QString::fromUtf8(text));
        click("Save");
        redraw();
        EXPECT_EQ(*tunnel->apiKey, text);
        EXPECT_EQ(world.reopenDefaults()->string("kestrelnet_api_key"), text);
        EXPECT_EQ(field()->text(), QString::fromUtf8(text));
    }
}

TEST_F(SettingsViewTest, aVeryLongKeyIsNotShortened) {
    open();
    const std::string key = "dev_" + std::string(100'000, 'x');
    field()->setText(QString::fromStdString(key));
    click("Save");
    EXPECT_EQ(*tunnel->apiKey, key);
}

TEST_F(SettingsViewTest, returnSavesOnlyWhatCanBeSaved) {
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

TEST_F(SettingsViewTest, theButtonTogglesTheTunnel) {
    open();
    click("Connect");
    EXPECT_EQ(tunnel->status, TunnelStatus::error);
    EXPECT_THAT(*tunnel->lastLog, HasSubstr("kestrelnet-client not found"));
    tunnel->status = TunnelStatus::connected;
    time.runPending();
    click("Disconnect");
    EXPECT_EQ(tunnel->status, TunnelStatus::disconnected);
}

TEST_F(SettingsViewTest, updatesOncePerTurnOfTheMainLoop) {
    open();
    tunnel->status = TunnelStatus::connecting;
    tunnel->lastLog = "one";
    tunnel->lastLog = "two";
    EXPECT_EQ(time.pendingCount(), 1U);
    time.runPending();
    EXPECT_THAT(shown(), HasSubstr("Connecting...|Disconnect|two|"));
}

TEST_F(SettingsViewTest, hostileTextsAreShownAsTextWithinTheWindow) {
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

TEST_F(SettingsViewTest, startAtLoginInstallsAndRemovesTheAgent) {
    open();
    const std::string agent =
        world.root.file("home/Library/LaunchAgents/com.kestrelnetvpn.app.plist");
    auto* const startAtLogin = switchOf("Start at login");
    ASSERT_FALSE(startAtLogin->isChecked());
    startAtLogin->click();
    redraw();
    EXPECT_TRUE(startAtLogin->isChecked());
    EXPECT_TRUE(world.reopenDefaults()->boolean("kestrelnet_start_at_login"));
    EXPECT_TRUE(std::filesystem::exists(agent));
    startAtLogin->click();
    redraw();
    EXPECT_FALSE(startAtLogin->isChecked());
    EXPECT_FALSE(world.reopenDefaults()->boolean("kestrelnet_start_at_login"));
    EXPECT_FALSE(std::filesystem::exists(agent));
}

TEST_F(SettingsViewTest, autoConnectNeedsTheHelper) {
    open();
    auto* const autoConnect = switchOf("Connect automatically");
    EXPECT_FALSE(autoConnect->isEnabled());
    tunnel->helperInstalled = true;
    redraw();
    ASSERT_TRUE(autoConnect->isEnabled());
    autoConnect->click();
    redraw();
    EXPECT_TRUE(tunnel->autoConnect());
    EXPECT_TRUE(autoConnect->isChecked());
    tunnel->helperInstalled = false;
    redraw();
    EXPECT_FALSE(autoConnect->isEnabled());
    EXPECT_TRUE(autoConnect->isChecked());
    EXPECT_THAT(shown(), HasSubstr("Install the helper first"));
}

TEST_F(SettingsViewTest, aSwitchShowsTheStoredValueNotThePressedOne) {
    open();
    // Another program writes the old value again.
    const auto subscription = tunnel->objectWillChange.subscribe(
        [this] { world.reopenDefaults()->set("kestrelnet_start_at_login", false); });
    auto* const startAtLogin = switchOf("Start at login");
    startAtLogin->click();
    EXPECT_TRUE(startAtLogin->isChecked());
    time.runPending();
    EXPECT_FALSE(startAtLogin->isChecked());
}

TEST_F(SettingsViewTest, aSwitchFlipsByAClickAnywhereInItsRowAndByReturn) {
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

TEST_F(SettingsViewTest, anAssistiveProgramCanFlipASwitch) {
    open();
    auto* const action =
        QAccessible::queryAccessibleInterface(switchOf("Start at login"))->actionInterface();
    ASSERT_TRUE(action->actionNames().contains(QAccessibleActionInterface::toggleAction()));
    action->doAction(QAccessibleActionInterface::toggleAction());
    EXPECT_TRUE(tunnel->startAtLogin());
}

TEST_F(SettingsViewTest, anExternalChangeIsShownAndNotStoredAgain) {
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

TEST_F(SettingsViewTest, installHelperDisappearsOnceTheHelperIsInstalled) {
    open();
    world.root.write("Kestrelnet.app/Contents/Resources/install-helper.sh", "");
    world.root.write("helpers/com.kestrelnetvpn.tunnel", "");
    click("Install Helper...");
    // No prompt can be started here, so the result depends only on the files.
    time.runPending();
    EXPECT_TRUE(tunnel->helperInstalled);
    EXPECT_THAT(shown(), HasSubstr("Privileged helper|Installed|"));
    EXPECT_THAT(shown(), Not(HasSubstr("Install Helper...")));
}

TEST_F(SettingsViewTest, linksOpenInTheBrowser) {
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

TEST_F(SettingsViewTest, theInstallCommandCanBeSelectedButNotEdited) {
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

TEST_F(SettingsViewTest, aNewlyInstalledClientIsShownWhenTheWindowBecomesActive) {
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

} // namespace

} // namespace kestrelnet

#include "SettingsViewTest.moc"
