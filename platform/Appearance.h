// SPDX-License-Identifier: MIT
#pragma once

#include "platform/DesktopPreferences.h"

#include <functional>
#include <memory>

namespace kestrelnet {

/// Follows what the user has set for all programs of the desktop.
///
/// The request may make the session start the service that answers it. So construct this with the
/// first window, not at program start. Main thread only.
class Appearance {
  public:
    using Changed = std::function<void()>;

    /// Requests the preferences and returns at once. `changed` is called from the event loop
    /// whenever a preference changes, also when the first answer is a preference.
    explicit Appearance(Changed changed);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

    /// Without an answer, only those that the X server has.
    DesktopPreferences preferences() const;

  private:
    class Source;
    std::unique_ptr<Source> source_;
};

} // namespace kestrelnet
