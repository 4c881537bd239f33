// SPDX-License-Identifier: MIT
// Runs with a real X server and without a session bus.
#include "platform/TrayHost.h"

#include "tests/platform/linux/FakeXEmbedTray.h"
#include "tests/support/EventLoop.h"

namespace kestrelnet {
namespace {

class XEmbedTrayTest : public testing::Test {
  protected:
    void watch() {
        host_ = std::make_unique<TrayHost>(TrayHost::Handlers{.appeared = [this] { ++appeared_; },
                                                              .absent = [this] { ++absent_; }});
    }

    int appeared_ = 0;
    int absent_ = 0;
    std::unique_ptr<TrayHost> host_;
};

TEST_F(XEmbedTrayTest, findsAnOwnerThatIsPresentBefore) {
    const FakeXEmbedTray tray;
    watch();
    EXPECT_EQ(appeared_, 0) << "called from within the constructor";
    EXPECT_TRUE(waitUntil([this] { return appeared_ > 0; }));
    EXPECT_EQ(absent_, 0);
}

TEST_F(XEmbedTrayTest, findsAnOwnerThatStartsLate) {
    watch();
    ASSERT_TRUE(waitUntil([this] { return absent_ > 0; }));
    EXPECT_EQ(appeared_, 0);
    const FakeXEmbedTray tray;
    EXPECT_TRUE(waitUntil([this] { return appeared_ > 0; }));
    EXPECT_EQ(appeared_, 1);
    EXPECT_EQ(absent_, 1);
}

TEST_F(XEmbedTrayTest, mayBeDestroyedByItsHandlers) {
    host_ = std::make_unique<TrayHost>(TrayHost::Handlers{.appeared = {}, .absent = [this] {
                                                              host_.reset();
                                                              ++absent_;
                                                          }});
    EXPECT_TRUE(waitUntil([this] { return absent_ > 0; }));
    const FakeXEmbedTray tray;
    host_ = std::make_unique<TrayHost>(TrayHost::Handlers{.appeared =
                                                              [this] {
                                                                  host_.reset();
                                                                  ++appeared_;
                                                              },
                                                          .absent = {}});
    EXPECT_TRUE(waitUntil([this] { return appeared_ > 0; }));
}

TEST_F(XEmbedTrayTest, keepsTheEventsThatTheToolkitHasSelected) {
    xcb_connection_t* connection =
        qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection();
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const auto mask = [&] {
        const ReplyPointer<xcb_get_window_attributes_reply_t> reply(
            xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, root),
                                            nullptr),
            &std::free);
        return reply->your_event_mask;
    };
    const std::uint32_t before = mask();
    ASSERT_NE(before & XCB_EVENT_MASK_PROPERTY_CHANGE, 0U);
    watch();
    EXPECT_EQ(mask(), before | XCB_EVENT_MASK_STRUCTURE_NOTIFY);
}

} // namespace
} // namespace kestrelnet

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    testing::AddGlobalTestEnvironment(new kestrelnet::XServer(count, arguments));
    return RUN_ALL_TESTS();
}
