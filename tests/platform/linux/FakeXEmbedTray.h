// SPDX-License-Identifier: MIT
// A private X server, and a tray for embedded windows on it.
#pragma once

#include "tests/support/ChildProgram.h"

#include <QGuiApplication>

#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>
#include <xcb/xcb.h>

namespace kestrelnet {

template <typename Reply>
using ReplyPointer = std::unique_ptr<Reply, decltype(&std::free)>;

/// A private X server and the application that is connected to it.
class XServer : public testing::Environment {
  public:
    XServer(int& count, char** arguments) : count_(count), arguments_(arguments) {}

    void SetUp() override {
        server_.emplace(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-nolisten", "tcp",
                                                 "-screen", "0", "320x240x24"});
        const auto number = server_->readLine();
        ASSERT_TRUE(number);
        ASSERT_EQ(::setenv("DISPLAY", (":" + *number).c_str(), 1), 0);
        ASSERT_EQ(::setenv("QT_QPA_PLATFORM", "xcb", 1), 0);
        application_.emplace(count_, arguments_);
    }

    void TearDown() override {
        application_.reset();
        server_.reset();
    }

  private:
    int& count_;
    char** arguments_;
    std::optional<ChildProgram> server_;
    std::optional<QGuiApplication> application_;
};

/// A panel: owns the selection of the tray and announces it.
class FakeXEmbedTray {
  public:
    FakeXEmbedTray() : connection_(xcb_connect(nullptr, nullptr)) {
        EXPECT_EQ(xcb_connection_has_error(connection_), 0);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        const xcb_window_t window = xcb_generate_id(connection_);
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
        const xcb_atom_t selection = atom("_NET_SYSTEM_TRAY_S0");
        xcb_set_selection_owner(connection_, window, selection, XCB_CURRENT_TIME);
        announce(screen->root, "MANAGER", selection, window);
    }
    FakeXEmbedTray(const FakeXEmbedTray&) = delete;
    FakeXEmbedTray& operator=(const FakeXEmbedTray&) = delete;
    ~FakeXEmbedTray() { xcb_disconnect(connection_); }

    void announce(xcb_window_t root, std::string_view message, xcb_atom_t selection,
                  xcb_window_t owner) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = root;
        event.type = atom(message);
        event.data.data32[1] = selection;
        event.data.data32[2] = owner;
        xcb_send_event(connection_, 0, root, XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
        synchronize();
    }

    /// Waits until the server has handled all requests.
    void synchronize() { atom("MANAGER"); }

  private:
    xcb_atom_t atom(std::string_view name) {
        const ReplyPointer<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(connection_,
                                  xcb_intern_atom(connection_, 0,
                                                  static_cast<std::uint16_t>(name.size()),
                                                  name.data()),
                                  nullptr),
            &std::free);
        return reply->atom;
    }

    xcb_connection_t* connection_;
};

} // namespace kestrelnet
