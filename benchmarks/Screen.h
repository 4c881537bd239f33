// SPDX-License-Identifier: MIT
// The screen as a person sees it: which windows are there, and whether they are painted.
#pragma once

#include <cstdint>
#include <map>
#include <string_view>
#include <xcb/xcb.h>

namespace kestrelnet::benchmarks {

class Screen {
  public:
    /// Gives the whole screen one colour; gives up when there is no X server.
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Handles what has come in.
    void process();
    int descriptor() const { return xcb_get_file_descriptor(connection_); }

    bool hasWindowManager() const;
    void movePointer(int x, int y);

    /// The windows on the screen that are large enough to be looked at.
    int windowCount() const { return static_cast<int>(windows_.size()); }
    /// Whether there is a window, and its content, not just one colour, is what the screen shows.
    bool isWindowPainted() const;
    /// Closes the window that has the focus, as its title bar would.
    void closeActiveWindow() const;

  private:
    struct Area {
        std::int16_t x;
        std::int16_t y;
        std::uint16_t width;
        std::uint16_t height;
    };

    xcb_atom_t atom(std::string_view name) const;
    /// A property of the root that holds a window; none when there is no such property.
    xcb_window_t rootWindowProperty(std::string_view name) const;
    void add(xcb_window_t window);
    void handle(const xcb_generic_event_t& event);

    xcb_connection_t* connection_ = nullptr;
    xcb_window_t root_ = 0;
    std::map<xcb_window_t, Area> windows_;
};

} // namespace kestrelnet::benchmarks
