// SPDX-License-Identifier: MIT
#include "ui/panel/MenuBarContent.h"

#include "tests/ui/WidgetTest.h"

namespace kestrelnet {

namespace {

using std::nullopt;

class MenuBarContentTest : public WidgetTest {
  protected:
    MenuBarContentTest() { tunnel->apiKey = validKey; }

    void setBothPlaces() {
        tunnel->exitIP = "203.0.113.7";
        tunnel->serverLocation = "fra-2";
    }
    MenuBarContent content() const { return menuBarContent(*tunnel); }
    ConnectButton button() const { return std::get<ConnectButton>(content().action); }
};

TEST_F(MenuBarContentTest, theFirstContentIsDisconnected) {
    const MenuBarContent shown = content();
    EXPECT_EQ(shown.headerSymbol, "lock.shield");
    EXPECT_EQ(shown.title, "Kestrelnet VPN");
    EXPECT_EQ(shown.statusText, "Disconnected");
    EXPECT_EQ(shown.statusColor, ColorRole::secondary);
    EXPECT_EQ(shown.exitIP, nullopt);
    EXPECT_EQ(shown.server, nullopt);
    EXPECT_EQ(button(), (ConnectButton{"play.fill", "Connect", ColorRole::green}));
    EXPECT_EQ(shown.lastLog, nullopt);
}

TEST_F(MenuBarContentTest, errorIsRedAndOffersToConnect) {
    tunnel->status = TunnelStatus::error;
    EXPECT_EQ(content().headerSymbol, "exclamationmark.shield");
    EXPECT_EQ(content().statusText, "Error");
    EXPECT_EQ(content().statusColor, ColorRole::red);
    EXPECT_EQ(button(), (ConnectButton{"play.fill", "Connect", ColorRole::green}));
}

TEST_F(MenuBarContentTest, reconnectingIsOrangeOffersToDisconnectAndHidesExitIPAndServer) {
    setBothPlaces();
    tunnel->status = TunnelStatus::reconnecting;
    EXPECT_EQ(content().headerSymbol, "arrow.triangle.2.circlepath");
    EXPECT_EQ(content().statusText, "Reconnecting...");
    EXPECT_EQ(content().statusColor, ColorRole::orange);
    EXPECT_EQ(button(), (ConnectButton{"stop.fill", "Disconnect", ColorRole::red}));
    EXPECT_EQ(content().exitIP, nullopt);
    EXPECT_EQ(content().server, nullopt);
}

TEST_F(MenuBarContentTest, connectingCanBeStopped) {
    tunnel->status = TunnelStatus::connecting;
    EXPECT_EQ(content().statusText, "Connecting...");
    EXPECT_EQ(content().statusColor, ColorRole::orange);
    EXPECT_EQ(button(), (ConnectButton{"stop.fill", "Disconnect", ColorRole::red}));
}

TEST_F(MenuBarContentTest, connectedShowsExitIPAndServer) {
    setBothPlaces();
    tunnel->status = TunnelStatus::connected;
    EXPECT_EQ(content().headerSymbol, "lock.shield.fill");
    EXPECT_EQ(content().statusColor, ColorRole::green);
    EXPECT_EQ(content().exitIP, "Exit IP: 203.0.113.7");
    EXPECT_EQ(content().server, "Server: fra-2");
    EXPECT_EQ(button(), (ConnectButton{"stop.fill", "Disconnect", ColorRole::red}));
}

TEST_F(MenuBarContentTest, connectedWithoutExitIPShowsTheServerAlone) {
    tunnel->serverLocation = "fra-2";
    tunnel->status = TunnelStatus::connected;
    EXPECT_EQ(content().exitIP, nullopt);
    EXPECT_EQ(content().server, "Server: fra-2");
}

TEST_F(MenuBarContentTest, emptyExitIPAndServerAreShown) {
    tunnel->exitIP = "";
    tunnel->serverLocation = "";
    tunnel->status = TunnelStatus::connected;
    EXPECT_EQ(content().exitIP, "Exit IP: ");
    EXPECT_EQ(content().server, "Server: ");
}

TEST_F(MenuBarContentTest, exitIPAndServerAreHiddenInEveryOtherStatus) {
    setBothPlaces();
    for (const auto status : {TunnelStatus::disconnected, TunnelStatus::connecting,
                              TunnelStatus::reconnecting, TunnelStatus::error}) {
        tunnel->status = status;
        EXPECT_EQ(content().exitIP, nullopt) << rawValue(status);
        EXPECT_EQ(content().server, nullopt) << rawValue(status);
    }
}

TEST_F(MenuBarContentTest, withoutAValidKeyTheSettingsButtonIsShownInEveryStatus) {
    for (const char* key : {"", "dev_123456", "abc_1234567"}) {
        tunnel->apiKey = key;
        for (const auto status : {TunnelStatus::disconnected, TunnelStatus::connected}) {
            tunnel->status = status;
            const auto shown = std::get<KeyMissing>(content().action);
            EXPECT_EQ(shown.symbol, "key");
            EXPECT_EQ(shown.text, "API key not set");
            EXPECT_EQ(shown.color, ColorRole::orange);
            EXPECT_EQ(shown.buttonLabel, "Open Settings...");
        }
    }
}

TEST_F(MenuBarContentTest, theLastLineIsShownVerbatim) {
    tunnel->lastLog = "  <b>100%</b> &amp; ready\t";
    EXPECT_EQ(content().lastLog, "  <b>100%</b> &amp; ready\t");
}

TEST_F(MenuBarContentTest, veryLongTextsAreShortened) {
    tunnel->lastLog = std::string(100'000'000, 'x');
    tunnel->exitIP = std::string(1'000'000, 'x');
    tunnel->serverLocation = std::string(1'000'000, 'x');
    tunnel->status = TunnelStatus::connected;
    EXPECT_LT(content().lastLog->size(), 3000U);
    EXPECT_LT(content().exitIP->size(), 3000U);
    EXPECT_LT(content().server->size(), 3000U);
}

TEST_F(MenuBarContentTest, equalStatesGiveEqualContent) {
    const MenuBarContent before = content();
    tunnel->status = TunnelStatus::disconnected;
    EXPECT_EQ(content(), before);
    tunnel->lastLog = "x";
    EXPECT_NE(content(), before);
}

} // namespace

} // namespace kestrelnet
