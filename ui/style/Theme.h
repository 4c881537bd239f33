// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Appearance.h"
#include "ui/style/Colors.h"
#include "ui/style/ToolkitSettings.h"

namespace kestrelnet {

/// Keeps colours and text as the desktop wants them: light or dark, normal or high contrast, the
/// font and its size, also after a change. Create it with the first window: they are not needed
/// earlier.
class Theme {
  public:
    Theme();

  private:
    void apply() const;

    /// Found by the toolkit. Used while the desktop reports no preference.
    Scheme toolkitScheme_;
    ToolkitSettings toolkit_;
    Appearance appearance_;
};

} // namespace kestrelnet
