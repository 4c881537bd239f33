// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Appearance.h"
#include "ui/style/Colors.h"

namespace kestrelnet {

/// Keeps the application's colours as the desktop wants them: light or dark, with normal or high
/// contrast, also after a change. Create it with the first window: the colours are not needed
/// earlier.
class Theme {
  public:
    Theme();

  private:
    void apply() const;

    /// Found by the toolkit. Used while the desktop reports no preference.
    Scheme toolkitScheme_;
    Appearance appearance_;
};

} // namespace kestrelnet
