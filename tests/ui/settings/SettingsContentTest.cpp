// SPDX-License-Identifier: MIT
#include "ui/settings/SettingsContent.h"

#include "tests/support/FullDisk.h"
#include "tests/ui/WidgetTest.h"

#include <filesystem>

namespace kestrelnet {

namespace {

using std::nullopt;

class SettingsContentTest : public WidgetTest {
  protected:
    SettingsContentTest() {
        facts.operatorValues.productDomain = "kestrel.example";
        tunnel = std::make_shared<TunnelManager>(world.platform, facts.operatorValues);
        tunnel->apiKey = validKey;
    }

    void type(const std::string& text) { state.editingKey = text; }
    SettingsContent content() const { return settingsContent(*tunnel, state, facts); }

    SettingsViewState state;
    SettingsFacts facts;
};

// -- Device API Key ------------------------------------------------------------------------------

TEST_F(SettingsContentTest, theStoredKeyIsNotShownAndTheEmptyFieldCanBeSaved) {
    EXPECT_EQ(state.editingKey, "");
    EXPECT_TRUE(content().isKeySaved);
    EXPECT_TRUE(content().canSave);
}

TEST_F(SettingsContentTest, onlyTheExactStoredKeyCannotBeSaved) {
    for (const char* text :
         {"dev_123456", "dev_12345678", "DEV_1234567", " dev_1234567", "dev_1234567 "}) {
        type(text);
        EXPECT_TRUE(content().canSave) << text;
    }
    type(validKey);
    EXPECT_FALSE(content().canSave);
}

TEST_F(SettingsContentTest, withoutAKeyTheEmptyFieldCannotBeSaved) {
    tunnel->apiKey = "";
    EXPECT_FALSE(content().canSave);
    EXPECT_FALSE(content().isKeySaved);
}

TEST_F(SettingsContentTest, anInvalidKeyIsNotReportedAsSaved) {
    for (const char* key : {"dev_123456", "abc_1234567", "x"}) {
        tunnel->apiKey = key;
        type(key);
        EXPECT_FALSE(content().canSave) << key;
        EXPECT_FALSE(content().isKeySaved) << key;
    }
}

TEST_F(SettingsContentTest, aKeyThatCouldNotBeWrittenIsNotReportedAsSaved) {
    {
        const FullDisk disk;
        tunnel->apiKey = "dev_7654321";
    }
    EXPECT_FALSE(content().isKeySaved);
    tunnel->apiKey = "dev_7654321";
    EXPECT_TRUE(content().isKeySaved);
}

TEST_F(SettingsContentTest, theKeyIsMaskedUntilShowIsPressed) {
    EXPECT_TRUE(content().masksKey);
    EXPECT_EQ(content().showKeyLabel, "Show");
    state.showKey = true;
    EXPECT_FALSE(content().masksKey);
    EXPECT_EQ(content().showKeyLabel, "Hide");
}

TEST_F(SettingsContentTest, thePortalIsOnTheProductsDomain) {
    EXPECT_EQ(content().portal, (Link{"kestrel.example/portal", "https://kestrel.example/portal"}));
}

// -- Connection ----------------------------------------------------------------------------------

TEST_F(SettingsContentTest, eachStatusHasItsTextAndColour) {
    struct Case {
        TunnelStatus status;
        std::string_view text;
        ColorRole color;
    };
    for (const auto& [status, text, color] :
         {Case{TunnelStatus::disconnected, "Disconnected", ColorRole::secondary},
          Case{TunnelStatus::connecting, "Connecting...", ColorRole::orange},
          Case{TunnelStatus::connected, "Connected", ColorRole::green},
          Case{TunnelStatus::reconnecting, "Reconnecting...", ColorRole::orange},
          Case{TunnelStatus::error, "Error", ColorRole::red}}) {
        tunnel->status = status;
        EXPECT_EQ(content().statusText, text);
        EXPECT_EQ(content().statusColor, color) << text;
    }
}

TEST_F(SettingsContentTest, exitIPAndServerAreShownInEveryStatus) {
    EXPECT_EQ(content().exitIP, nullopt);
    EXPECT_EQ(content().server, nullopt);
    tunnel->exitIP = "203.0.113.7";
    tunnel->serverLocation = "fra-2";
    for (const auto status :
         {TunnelStatus::disconnected, TunnelStatus::connecting, TunnelStatus::connected,
          TunnelStatus::reconnecting, TunnelStatus::error}) {
        tunnel->status = status;
        EXPECT_EQ(content().exitIP, "203.0.113.7") << rawValue(status);
        EXPECT_EQ(content().server, "fra-2") << rawValue(status);
    }
}

TEST_F(SettingsContentTest, theConnectButtonIsTheSameAsInThePanel) {
    for (const auto status :
         {TunnelStatus::disconnected, TunnelStatus::connecting, TunnelStatus::connected,
          TunnelStatus::reconnecting, TunnelStatus::error}) {
        tunnel->status = status;
        EXPECT_EQ(content().connectButton, connectButton(status)) << rawValue(status);
    }
    tunnel->apiKey = "dev_123456";
    EXPECT_EQ(content().connectButton, nullopt);
}

TEST_F(SettingsContentTest, theLastLineIsShownVerbatimUnlessItIsEmpty) {
    EXPECT_EQ(content().lastLog, nullopt);
    tunnel->lastLog = " <b>100%</b> &amp; ready\t";
    EXPECT_EQ(content().lastLog, " <b>100%</b> &amp; ready\t");
}

TEST_F(SettingsContentTest, veryLongTextsAreShortened) {
    tunnel->lastLog = std::string(10'000'000, 'x');
    tunnel->exitIP = std::string(1'000'000, 'x');
    tunnel->serverLocation = std::string(1'000'000, 'x');
    EXPECT_LT(content().lastLog->size(), 3000U);
    EXPECT_LT(content().exitIP->size(), 3000U);
    EXPECT_LT(content().server->size(), 3000U);
}

// -- Startup and helper --------------------------------------------------------------------------

TEST_F(SettingsContentTest, withoutTheHelperAutoConnectIsOffAndDisabled) {
    EXPECT_FALSE(content().startAtLogin);
    EXPECT_FALSE(content().autoConnect);
    EXPECT_FALSE(content().canChangeAutoConnect);
    EXPECT_FALSE(content().needsHelperForAutoConnect);
    EXPECT_EQ(content().helperText, "Not installed");
    EXPECT_EQ(content().helperColor, ColorRole::orange);
    EXPECT_TRUE(content().canInstallHelper);
}

TEST_F(SettingsContentTest, anEarlierAutoConnectStaysOnWithoutTheHelperAndIsExplained) {
    tunnel->setAutoConnect(true);
    EXPECT_TRUE(content().autoConnect);
    EXPECT_FALSE(content().canChangeAutoConnect);
    EXPECT_TRUE(content().needsHelperForAutoConnect);
}

TEST_F(SettingsContentTest, withTheHelperAutoConnectCanBeChanged) {
    tunnel->helperInstalled = true;
    for (const bool isOn : {true, false}) {
        tunnel->setAutoConnect(isOn);
        EXPECT_EQ(content().autoConnect, isOn);
        EXPECT_TRUE(content().canChangeAutoConnect);
        EXPECT_FALSE(content().needsHelperForAutoConnect);
    }
    EXPECT_EQ(content().helperText, "Installed");
    EXPECT_EQ(content().helperColor, ColorRole::green);
    EXPECT_FALSE(content().canInstallHelper);
}

TEST_F(SettingsContentTest, startAtLoginShowsTheStoredValue) {
    world.platform.defaults->set("kestrelnet_start_at_login", true);
    EXPECT_TRUE(content().startAtLogin);
}

// -- About ---------------------------------------------------------------------------------------

TEST_F(SettingsContentTest, theVersionIsFromTheBundleOrDev) {
    EXPECT_EQ(content().version, "dev");
    facts.version = "1.2.3";
    EXPECT_EQ(content().version, "1.2.3");
    facts.version = "";
    EXPECT_EQ(content().version, "");
}

TEST_F(SettingsContentTest, aMissingClientIsShownWithTheInstallCommand) {
    EXPECT_EQ(content().binary, nullopt);
    EXPECT_EQ(content().installCommand,
              "curl -sSL https://kestrel.example/downloads/install-client.sh | sh");
}

TEST_F(SettingsContentTest, anInstalledClientIsShownByItsPath) {
    const std::string path = world.root.write("usr/local/bin/kestrelnet-client", "");
    EXPECT_EQ(content().binary, path);
    EXPECT_EQ(content().installCommand, nullopt);
    std::filesystem::remove(path);
    EXPECT_EQ(content().binary, nullopt);
}

TEST_F(SettingsContentTest, theHomePageIsOmittedIfItsAddressIsInvalid) {
    EXPECT_EQ(content().home, (Link{"kestrel.example", "https://kestrel.example"}));
    for (const char* domain : {"", "no domain", "%zz", "a:b:c"}) {
        facts.operatorValues.productDomain = domain;
        EXPECT_EQ(content().home, nullopt) << domain;
    }
}

TEST_F(SettingsContentTest, alertsFollowTheViewState) {
    EXPECT_FALSE(content().showsUninstallConfirm);
    EXPECT_FALSE(content().showsUninstallDone);
    state.showUninstallConfirm = true;
    EXPECT_TRUE(content().showsUninstallConfirm);
    EXPECT_FALSE(content().showsUninstallDone);
    state.showUninstallDone = true;
    EXPECT_TRUE(content().showsUninstallDone);
}

} // namespace

} // namespace kestrelnet
