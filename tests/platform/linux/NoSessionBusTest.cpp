// SPDX-License-Identifier: MIT
// Runs without a session bus: nothing is found, and nothing blocks.
#include "platform/Appearance.h"
#include "platform/ApplicationInstance.h"
#include "platform/Notifier.h"
#include "platform/TrayHost.h"

#include "tests/support/EventLoop.h"
#include "tests/support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace kestrelnet {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::StartsWith;

class NoSessionBus : public testing::Environment {
  public:
    std::vector<std::string> messages() const { return recorder_->messages(); }

  private:
    void SetUp() override {
        ASSERT_EQ(::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1), 0);
        recorder_.emplace();
    }
    void TearDown() override { recorder_.reset(); }

    /// For the whole program, because only the first use of the bus reports that there is none.
    std::optional<LogRecorder> recorder_;
};

auto* const noBus = new NoSessionBus;
[[maybe_unused]] auto* const environment = testing::AddGlobalTestEnvironment(noBus);

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
    EXPECT_THAT(noBus->messages(),
                IsSupersetOf({StartsWith("warning kestrelnet.desktop: the session bus is not "
                                         "available: org.freedesktop.DBus.Error."),
                              StartsWith("warning kestrelnet.desktop: cannot register the "
                                         "application on the session bus")}));
}

TEST(NoSessionBusTest, showsNoNotification) {
    Notifier notifier({.name = "Kestrelnet", .identifier = "com.kestrelnetvpn.app"});
    notifier.show({.summary = "VPN disconnected", .body = "", .opened = {}});
    runPostedEvents();
    notifier.withdraw();
    EXPECT_THAT(noBus->messages(),
                ElementsAre(StartsWith("warning kestrelnet.desktop: the session bus is not "
                                       "available: ")));
}

TEST(NoSessionBusTest, reportsNoPreference) {
    bool changed = false;
    const Appearance appearance([&changed] { changed = true; });
    runPostedEvents();
    EXPECT_EQ(appearance.preferences(), DesktopPreferences());
    EXPECT_FALSE(changed);
}

} // namespace
} // namespace kestrelnet
