// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/DesktopSettings.h"

#include <functional>
#include <memory>
#include <string_view>

namespace kestrelnet {

/// Reads the content of the property in which a settings manager of X11 keeps its settings: numbers
/// and texts by name. Accepts any bytes. What follows the first mistake is left out.
SettingGroup settingsFromXProperty(std::string_view bytes);

/// The settings of a settings manager of X11, which XFCE, MATE, LXDE and others run. Main thread
/// only.
class XSettings {
  public:
    /// Reads the settings. `changed` is called from the event loop after each change.
    explicit XSettings(std::function<void()> changed);
    ~XSettings();
    XSettings(const XSettings&) = delete;
    XSettings& operator=(const XSettings&) = delete;

    /// Empty without a settings manager, and on Wayland.
    SettingGroup values() const;

  private:
    class Manager;
    std::unique_ptr<Manager> manager_;
};

} // namespace kestrelnet
