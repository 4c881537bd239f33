// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// Tells when the desktop has a tray that can show an icon. The toolkit asks that once, at the
/// first use of its tray icon, and keeps the answer for good: an icon made before the tray is there
/// never shows. So no tray icon is to be touched before `appeared`.
///
/// It waits without timers and never blocks; once a tray has appeared, it watches nothing any more
/// but the session bus, whose restart the toolkit's tray icon does not survive. Where there is
/// nothing to ask (no session bus, no X11), no tray appears there. Main thread only, with the GUI
/// application made.
class TrayHost {
  public:
    /// Called from the event loop, never from within the constructor. Each may destroy the
    /// TrayHost; either may be empty.
    struct Handlers {
        /// As soon as there is a tray. Its later departures and returns are the toolkit's. Once
        /// more after a restart of the session bus: the icon is to be made anew.
        std::function<void()> appeared;
        /// At most once and only before `appeared`: the first answer is in, and it is "none so
        /// far".
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
