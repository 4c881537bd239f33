// SPDX-License-Identifier: MIT
#include "ui/style/StatusStyle.h"

#include <gtest/gtest.h>

#include <ostream>

namespace kestrelnet {

namespace {

struct StatusLook {
    TunnelStatus status;
    ColorRole color;
    std::string_view header;
    std::string_view statusBar;
    ConnectButton button;

    friend void PrintTo(const StatusLook& look, std::ostream* out) {
        *out << rawValue(look.status);
    }
};

constexpr ConnectButton connects{"play.fill", "Connect", ColorRole::green};
constexpr ConnectButton disconnects{"stop.fill", "Disconnect", ColorRole::red};

constexpr StatusLook looks[] = {
    {TunnelStatus::disconnected, ColorRole::secondary, "lock.shield", "lock.shield", connects},
    {TunnelStatus::connecting, ColorRole::orange, "arrow.triangle.2.circlepath", "lock.shield",
     disconnects},
    {TunnelStatus::connected, ColorRole::green, "lock.shield.fill", "lock.shield.fill",
     disconnects},
    {TunnelStatus::reconnecting, ColorRole::orange, "arrow.triangle.2.circlepath", "lock.shield",
     disconnects},
    {TunnelStatus::error, ColorRole::red, "exclamationmark.shield", "lock.shield", connects},
};

class StatusStyleTest : public testing::TestWithParam<StatusLook> {};

TEST_P(StatusStyleTest, eachStatusHasItsColourSymbolsAndButton) {
    const StatusLook& look = GetParam();
    EXPECT_EQ(statusColor(look.status), look.color);
    EXPECT_EQ(headerSymbol(look.status), look.header);
    EXPECT_EQ(statusBarSymbol(look.status), look.statusBar);
    EXPECT_EQ(connectButton(look.status), look.button);
}

INSTANTIATE_TEST_SUITE_P(Statuses, StatusStyleTest, testing::ValuesIn(looks));

} // namespace

} // namespace kestrelnet
