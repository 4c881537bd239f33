// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// How the system's tray treats an icon.
struct TrayTraits {
    /// It opens the icon's context menu at each click, and reports the click as well.
    bool opensMenuAtEachClick = false;
    /// It draws the icon in its own colours, and uses only the picture's opacity.
    bool drawsShapeOnly = false;
};

TrayTraits trayTraits();

/// Reports when the desktop has a tray that can show an icon. The toolkit checks for a tray once,
/// at the first use of its tray icon, and keeps the result: an icon created earlier is never shown.
/// So do not use the toolkit's tray icon before `appeared`.
///
/// It waits without timers and does not block. Once a tray has appeared, it watches only the
/// session bus, because the toolkit's tray icon does not survive a restart of the bus. Without a
/// session bus and without X11 there is no tray. Main thread only, after the GUI application has
/// been created.
class TrayHost {
  public:
    /// Called from the event loop, not inside the constructor. Each may destroy the TrayHost; each
    /// may be empty.
    struct Handlers {
        /// Called as soon as there is a tray, and again after a restart of the session bus: the
        /// icon must be created again then. The toolkit handles a tray that restarts. Qt 6.8 looks
        /// for the tray on its own connection, which stays broken: it then shows an icon for X11,
        /// and none on Wayland. Qt 6.4 looks only once.
        std::function<void()> appeared;
        /// Called at most once, and only before `appeared`: there is no tray yet.
        std::function<void()> absent;
    };

    explicit TrayHost(Handlers handlers);
    ~TrayHost();
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

  private:
    class Watch;
    std::unique_ptr<Watch> watch_;
};

} // namespace kestrelnet
