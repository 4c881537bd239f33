// SPDX-License-Identifier: MIT
#include "core/TunnelStatus.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>

namespace kestrelnet {
namespace {

struct Case {
    TunnelStatus status;
    std::string_view raw;
};

constexpr std::array cases{
    Case{TunnelStatus::disconnected, "Disconnected"},
    Case{TunnelStatus::connecting, "Connecting..."},
    Case{TunnelStatus::connected, "Connected"},
    Case{TunnelStatus::reconnecting, "Reconnecting..."},
    Case{TunnelStatus::error, "Error"},
};

TEST(TunnelStatusTest, eachStatusHasItsText) {
    for (const auto& [status, raw] : cases) {
        EXPECT_EQ(rawValue(status), raw);
    }
}

TEST(TunnelStatusTest, eachTextGivesItsStatus) {
    for (const auto& [status, raw] : cases) {
        EXPECT_EQ(tunnelStatus(raw), status) << raw;
    }
}

TEST(TunnelStatusTest, anyOtherTextGivesNoStatus) {
    for (const std::string_view other :
         {"", "Connecting", "Reconnecting", "connected", "error", "DISCONNECTED", "connecting...",
          "Connecting\xE2\x80\xA6", " Error", "Error ", "Connected..."}) {
        EXPECT_EQ(tunnelStatus(other), std::nullopt) << other;
    }
    EXPECT_EQ(tunnelStatus(std::string_view("Error\0", 6)), std::nullopt);
}

TEST(TunnelStatusTest, theHashIsTheHashOfTheText) {
    std::set<std::string_view> texts;
    for (const auto& [status, raw] : cases) {
        EXPECT_EQ(std::hash<TunnelStatus>{}(status), std::hash<std::string_view>{}(raw));
        texts.insert(rawValue(status));
    }
    EXPECT_EQ(texts.size(), cases.size());
}

} // namespace
} // namespace kestrelnet
