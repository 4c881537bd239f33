// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

enum class ColorScheme { noPreference, dark, light };

/// The user's preferences for dark or light windows and for high contrast, read from the desktop.
///
/// The request may make the session start the service that answers it. So construct this with the
/// first window, not at program start. Main thread only.
class Appearance {
  public:
    using Changed = std::function<void()>;

    /// Requests the preferences and returns at once. `changed` is called from the event loop
    /// whenever a preference changes, also when the first answer is a preference.
    explicit Appearance(const Changed& changed);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

    /// Without an answer, there is no preference.
    ColorScheme colorScheme() const;
    bool wantsHighContrast() const;

  private:
    class Setting;
    std::unique_ptr<Setting> colorScheme_;
    std::unique_ptr<Setting> contrast_;
};

} // namespace kestrelnet
