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

/// Reports mouse buttons anywhere on the screen. A click on the empty desktop moves the focus on
/// some desktops only, so a popup that waits for the focus to move would stay. It only listens: it
/// grabs nothing, and other programs receive their clicks as before. It does so on X11; elsewhere
/// there are no calls.
class ScreenClicks {
  public:
    /// Called from the event loop. Each may destroy the ScreenClicks. The wheel does not count.
    struct Handlers {
        std::function<void()> pressed;
        std::function<void()> released;
    };

    explicit ScreenClicks(Handlers handlers);
    ~ScreenClicks();
    ScreenClicks(const ScreenClicks&) = delete;
    ScreenClicks& operator=(const ScreenClicks&) = delete;

  private:
    class Listener;
    std::unique_ptr<Listener> listener_;
};

} // namespace kestrelnet
