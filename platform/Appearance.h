// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

enum class ColorScheme { noPreference, dark, light };

/// The user's preference for dark or light windows and for more contrast, as the desktop tells it.
///
/// Asking may make the session start the service that knows. So make this with the first window,
/// not at program start. Main thread only.
class Appearance {
  public:
    using Changed = std::function<void()>;

    /// Asks and returns at once. `changed` is called from the event loop whenever a preference
    /// differs from before; so the first time when there turns out to be one.
    explicit Appearance(const Changed& changed);
    ~Appearance();
    Appearance(const Appearance&) = delete;
    Appearance& operator=(const Appearance&) = delete;

    /// No preference until the answer has come, and where nobody answers.
    ColorScheme colorScheme() const;
    bool wantsHighContrast() const;

  private:
    class Setting;
    std::unique_ptr<Setting> colorScheme_;
    std::unique_ptr<Setting> contrast_;
};

} // namespace kestrelnet
