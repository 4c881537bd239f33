// SPDX-License-Identifier: MIT
#include "ui/shell/TrayContent.h"

#include "tests/ui/WidgetTest.h"

namespace kestrelnet {

namespace {

class TrayContentTest : public WidgetTest {
  protected:
    std::string stateLine() const { return trayContent(*tunnel).stateLine.toStdString(); }
    std::string stateLineWith(const std::string& exitIP) {
        tunnel->status = TunnelStatus::connected;
        tunnel->exitIP = exitIP;
        return stateLine();
    }
};

TEST_F(TrayContentTest, theStateIsTheStatus) {
    for (const auto status :
         {TunnelStatus::disconnected, TunnelStatus::connecting, TunnelStatus::connected,
          TunnelStatus::reconnecting, TunnelStatus::error}) {
        tunnel->status = status;
        EXPECT_EQ(stateLine(), rawValue(status));
    }
}

TEST_F(TrayContentTest, theStateHasTheExitIPWhileConnected) {
    EXPECT_EQ(stateLineWith("203.0.113.42"), "Connected, exit IP 203.0.113.42");
    EXPECT_EQ(stateLineWith("2001:db8:1234:5678:9abc:def0:255.255.255.255"),
              "Connected, exit IP 2001:db8:1234:5678:9abc:def0:255.255.255.255");
    tunnel->status = TunnelStatus::reconnecting;
    EXPECT_EQ(stateLine(), "Reconnecting...");
}

TEST_F(TrayContentTest, theStateIsOneShortLineWhateverTheLookupReturned) {
    EXPECT_EQ(stateLineWith("<html>\n<b>\tLog in\x1b</b>"),
              "Connected, exit IP <html> <b> Log in\uFFFD</b>");
    EXPECT_EQ(stateLineWith(std::string(5000, 'x')),
              "Connected, exit IP " + std::string(47, 'x') + "\u2026");
    std::string faces = "x";
    for (int i = 0; i < 100; ++i) {
        faces += "\U0001F600";
    }
    tunnel->exitIP = faces;
    EXPECT_TRUE(trayContent(*tunnel).stateLine.isValidUtf16());
}

TEST_F(TrayContentTest, onlyAConfiguredTunnelCanBeToggled) {
    EXPECT_FALSE(trayContent(*tunnel).canToggle);
    tunnel->apiKey = validKey;
    EXPECT_TRUE(trayContent(*tunnel).canToggle);
}

} // namespace

} // namespace kestrelnet
