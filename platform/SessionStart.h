// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// Reports that the desktop session has started all that belongs to it. Session managers say so on
/// the session bus: those of GNOME and of the desktops that derive from it, and the one of XFCE. No
/// other session says it, and macOS has no need of it: then there is no call. Main thread only,
/// after the Qt application has been created.
class SessionStart {
  public:
    /// `completed` is called at most once, from the event loop, also when the session has been
    /// complete before. It may destroy the SessionStart.
    explicit SessionStart(std::function<void()> completed);
    ~SessionStart();
    SessionStart(const SessionStart&) = delete;
    SessionStart& operator=(const SessionStart&) = delete;

  private:
    class Watch;
    std::unique_ptr<Watch> watch_;
};

} // namespace kestrelnet
