// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"

#include <optional>

namespace kestrelnet {

/// What has started the program.
enum class StartCause {
    /// A person, from a menu or a terminal: expects to see the panel.
    person,
    /// A person, with a link: sees what the link opens.
    link,
    /// The desktop session at login, or the session bus: nobody waits for a window.
    session,
};

/// Decides whether and when the panel opens by itself after the start. On a desktop with a tray it
/// opens for a person only. On one without, it opens because the program could not be reached
/// otherwise. At login, the tray may come later than the program, so it waits for the tray: for as
/// long as a session takes to start.
class PanelAtStart {
  public:
    PanelAtStart(StartCause cause, Clock::Time now);

    void trayAppeared() { tray_ = Tray::present; }
    void trayAbsent() { tray_ = Tray::absent; }
    /// The session says that it is complete.
    void sessionCompleted(Clock::Time now);
    /// A person uses the program.
    void personCame(Clock::Time now);
    /// The panel is open, for whatever reason.
    void panelOpened() { isDone_ = true; }

    /// When the panel is to open, as far as is known; `now` or earlier means at once.
    std::optional<Clock::Time> opensAt() const;

  private:
    enum class Tray { unknown, absent, present };

    bool isForPerson_;
    /// When to stop waiting for a tray.
    Clock::Time deadline_;
    Tray tray_ = Tray::unknown;
    bool isDone_ = false;
};

} // namespace kestrelnet
