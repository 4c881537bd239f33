// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
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
/// It does not block. Once a tray has appeared, it watches only the session bus, because the
/// toolkit's tray icon does not survive a restart of the bus. Without a session bus and without X11
/// there is no tray. Main thread only, after the GUI application has been created.
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

    /// A panel that starts may offer a tray for embedded X11 windows before it offers one on the
    /// session bus. The icon looks better there, so an X11 tray that appears later than this object
    /// is reported only after `busPreference`, if the session bus has no tray by then.
    explicit TrayHost(Handlers handlers,
                      std::chrono::milliseconds busPreference = std::chrono::seconds(1));
    ~TrayHost();
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

  private:
    class Watch;
    std::unique_ptr<Watch> watch_;
};

} // namespace kestrelnet
