// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// Tells whether the toolkit already scales text for the desktop. On X11, most desktops set the
/// resolution of the screen to 96 dots per inch times the text scale, and the toolkit follows that.
/// On Wayland, and on X11 without a program that does this, it is left to each program.
/// Main thread only.
class ScreenResolution {
  public:
    /// `changed` is called from the event loop when the answer may have changed.
    explicit ScreenResolution(const std::function<void()>& changed);
    ~ScreenResolution();
    ScreenResolution(const ScreenResolution&) = delete;
    ScreenResolution& operator=(const ScreenResolution&) = delete;

    /// The part of the desktop's text scale that the program has to apply.
    double scaleToApply(double textScale) const;

  private:
    class Watch;
    std::unique_ptr<Watch> watch_;
};

} // namespace kestrelnet
