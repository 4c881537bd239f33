// SPDX-License-Identifier: MIT
// What the toolkit does not offer for a popup: a window that belongs to a place on the screen and
// not to the user's open windows. Main thread only, after the GUI application has been created.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace kestrelnet {

/// Keeps a window out of task bars and pagers. `window` is the system's identifier of it. On X11
/// call it before each time the window is shown, because window managers forget it when the window
/// is hidden. On Wayland a program cannot ask for it, and macOS lists no such windows.
void keepOutOfTaskBars(std::uintptr_t window);

/// Whether the transparent pixels of a window show what is behind it. On X11 they are black without
/// a compositor.
bool showsTransparency();

/// Reports clicks beside all windows of this program, also those on the empty desktop. Such a click
/// moves the focus on some desktops only, so a popup that waits for the focus to move would stay.
/// It only listens: it grabs nothing, and other programs receive their clicks as before. It does so
/// on X11; elsewhere there are no calls.
class OutsideClicks {
  public:
    /// `clicked` is called from the event loop when the button of such a click is released. It may
    /// destroy the OutsideClicks. The wheel does not count.
    explicit OutsideClicks(std::function<void()> clicked);
    ~OutsideClicks();
    OutsideClicks(const OutsideClicks&) = delete;
    OutsideClicks& operator=(const OutsideClicks&) = delete;

  private:
    class Listener;
    std::unique_ptr<Listener> listener_;
};

} // namespace kestrelnet
