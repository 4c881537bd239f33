// SPDX-License-Identifier: MIT
// The visible content of the screen: the windows, and whether they are painted.
#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <xcb/xcb.h>

namespace kestrelnet::benchmarks {

class Screen {
  public:
    /// Fills the screen with one colour. Gives up if there is no X server.
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Handles the events that have arrived.
    void process();
    int descriptor() const { return xcb_get_file_descriptor(connection_); }

    bool hasWindowManager() const;
    void movePointer(int x, int y);

    /// The number of windows on the screen, without tiny ones.
    int windowCount() const { return static_cast<int>(windows_.size()); }
    /// Whether there is a window and the screen shows more than one colour in its place.
    bool isWindowPainted() const;
    /// Closes the focused window as the button in its title bar does.
    void closeActiveWindow() const;

  private:
    struct Area {
        std::int16_t x;
        std::int16_t y;
        std::uint16_t width;
        std::uint16_t height;
    };

    xcb_atom_t atom(std::string_view name) const;
    /// The window in a property of the root window; none without such a property.
    xcb_window_t rootWindowProperty(std::string_view name) const;
    void add(xcb_window_t window);
    void handle(const xcb_generic_event_t& event);

    xcb_connection_t* connection_ = nullptr;
    xcb_window_t root_ = 0;
    std::map<xcb_window_t, Area> windows_;
};

} // namespace kestrelnet::benchmarks
