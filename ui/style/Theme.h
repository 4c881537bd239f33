// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Appearance.h"
#include "ui/style/Colors.h"

namespace kestrelnet {

/// Keeps the application's palette light or dark, and of high contrast or not, as the desktop wants
/// it, also when that changes.
/// To be made with the first window: a program that shows none needs no palette.
class Theme {
  public:
    Theme();

  private:
    void apply() const;

    /// What the toolkit had found out by itself, for desktops that tell no preference.
    Scheme unasked_;
    Appearance appearance_;
};

} // namespace kestrelnet
