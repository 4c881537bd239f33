// SPDX-License-Identifier: MIT
// Runs with a real X server, without a compositor.
#include "platform/PopupWindow.h"

#include "platform/linux/X11.h"
#include "tests/platform/linux/FakeXEmbedTray.h"

namespace kestrelnet {
namespace {

/// Owns the selection of a compositor.
class FakeCompositor {
  public:
    FakeCompositor() : connection_(xcb_connect(nullptr, nullptr)) {
        const xcb_window_t window = xcb_generate_id(connection_);
        const xcb_atom_t selection =
            x11::atom(connection_, x11::requestAtom(connection_, "_NET_WM_CM_S0"));
        xcb_create_window(connection_, 0, window, x11::rootWindow(connection_), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_set_selection_owner(connection_, window, selection, XCB_CURRENT_TIME);
        // Returns when the server has handled all requests.
        x11::atom(connection_, x11::requestAtom(connection_, "_NET_WM_CM_S0"));
    }
    ~FakeCompositor() { xcb_disconnect(connection_); }
    FakeCompositor(const FakeCompositor&) = delete;
    FakeCompositor& operator=(const FakeCompositor&) = delete;

  private:
    xcb_connection_t* connection_;
};

TEST(TransparencyTest, isNotShownWithoutACompositor) {
    EXPECT_FALSE(showsTransparency());
}

TEST(TransparencyTest, isShownWithACompositor) {
    const FakeCompositor compositor;
    EXPECT_TRUE(showsTransparency());
}

} // namespace
} // namespace kestrelnet

int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    testing::AddGlobalTestEnvironment(new kestrelnet::XServer(count, arguments));
    return RUN_ALL_TESTS();
}
