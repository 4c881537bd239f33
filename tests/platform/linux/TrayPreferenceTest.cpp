// SPDX-License-Identifier: MIT
// A panel that offers a tray on a real X server before it offers one on the session bus.
#include "platform/TrayHost.h"

#include "tests/platform/linux/FakeWatcher.h"
#include "tests/platform/linux/FakeXEmbedTray.h"
#include "tests/support/EventLoop.h"

namespace kestrelnet {
namespace {

using namespace std::chrono_literals;

class TrayPreferenceTest : public testing::Test {
  protected:
    void watch(std::chrono::milliseconds busPreference) {
        host_ = std::make_unique<TrayHost>(TrayHost::Handlers{.appeared = [this] { ++appeared_; },
                                                              .absent = [this] { ++absent_; }},
                                           busPreference);
    }

    bool waitForAppeared() {
        return waitUntil([this] { return appeared_ > 0; });
    }

    int appeared_ = 0;
    int absent_ = 0;
    std::unique_ptr<TrayHost> host_;
};

TEST_F(TrayPreferenceTest, aLateTrayOfX11WaitsForOneOnTheBus) {
    watch(1h);
    bool isSeenByImpatient = false;
    const TrayHost impatient({.appeared = [&] { isSeenByImpatient = true; }, .absent = {}}, 1ms);
    ASSERT_TRUE(waitUntil([this] { return absent_ > 0; }));
    const FakeXEmbedTray tray;
    ASSERT_TRUE(waitUntil([&] { return isSeenByImpatient; }));
    EXPECT_EQ(appeared_, 0);
    const FakeWatcher watcher(true);
    EXPECT_TRUE(waitForAppeared());
}

TEST_F(TrayPreferenceTest, aLateTrayOfX11IsReportedWhenTheBusHasNone) {
    watch(1ms);
    ASSERT_TRUE(waitUntil([this] { return absent_ > 0; }));
    const FakeXEmbedTray tray;
    EXPECT_TRUE(waitForAppeared());
}

TEST_F(TrayPreferenceTest, aPresentTrayOfX11IsReportedWithoutWaiting) {
    const FakeXEmbedTray tray;
    watch(1h);
    EXPECT_TRUE(waitForAppeared());
    EXPECT_EQ(absent_, 0);
}

} // namespace
} // namespace kestrelnet

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    testing::AddGlobalTestEnvironment(new kestrelnet::SessionBus);
    testing::AddGlobalTestEnvironment(new kestrelnet::XServer(count, arguments));
    return RUN_ALL_TESTS();
}
