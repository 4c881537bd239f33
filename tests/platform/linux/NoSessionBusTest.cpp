// SPDX-License-Identifier: MIT
// Runs without a session bus: nothing is found, and nothing blocks.
#include "platform/Appearance.h"
#include "platform/ApplicationInstance.h"
#include "platform/TrayHost.h"

#include "tests/support/EventLoop.h"

#include <gtest/gtest.h>

namespace kestrelnet {
namespace {

class NoSessionBus : public testing::Environment {
    void SetUp() override {
        ASSERT_EQ(::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1), 0);
    }
};

[[maybe_unused]] auto* const noBus = testing::AddGlobalTestEnvironment(new NoSessionBus);

TEST(NoSessionBusTest, reportsNoTray) {
    bool appeared = false;
    bool absent = false;
    const TrayHost host(
        {.appeared = [&appeared] { appeared = true; }, .absent = [&absent] { absent = true; }});
    EXPECT_TRUE(waitUntil([&absent] { return absent; }));
    EXPECT_FALSE(appeared);
}

TEST(NoSessionBusTest, anInstanceRunsWithoutABus) {
    ApplicationInstance instance("com.kestrelnetvpn.app");
    EXPECT_EQ(instance.acquire({"kestrelnet:a"}), ApplicationInstance::Acquisition::unavailable);
    std::string opened;
    instance.setHandlers(
        {.activate = {}, .open = [&opened](std::string url) { opened = std::move(url); }});
    EXPECT_TRUE(waitUntil([&opened] { return opened == "kestrelnet:a"; }));
}

TEST(NoSessionBusTest, reportsNoPreference) {
    bool changed = false;
    const Appearance appearance([&changed] { changed = true; });
    runPostedEvents();
    EXPECT_EQ(appearance.colorScheme(), ColorScheme::noPreference);
    EXPECT_FALSE(changed);
}

} // namespace
} // namespace kestrelnet
