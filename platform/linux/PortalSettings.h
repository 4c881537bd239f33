// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/DesktopSettings.h"

#include <functional>
#include <memory>

namespace kestrelnet {

/// The settings that the desktop's portal provides on the session bus. Main thread only.
class PortalSettings {
  public:
    /// Requests the settings and returns at once. `changed` is called from the event loop after
    /// each answer. At most one request is under way, however many changes are announced.
    explicit PortalSettings(std::function<void()> changed);
    ~PortalSettings();
    PortalSettings(const PortalSettings&) = delete;
    PortalSettings& operator=(const PortalSettings&) = delete;

    /// Those of the last answer. Empty before the first, and without a portal.
    const DesktopSettings& values() const;

  private:
    class Reading;
    std::unique_ptr<Reading> reading_;
};

} // namespace kestrelnet
