// SPDX-License-Identifier: MIT
#pragma once

#include "platform/DesktopPreferences.h"

#include <QFont>

namespace kestrelnet {

/// The font of the application: `own` with what the preferences say of it. The result keeps a size
/// at which the windows can be used.
QFont preferredFont(const QFont& own, const DesktopPreferences& preferences);

/// Sets the application's font, double-click time and cursor-flash time as the desktop wants them.
/// Create it before any of them is changed. Main thread only.
class ToolkitSettings {
  public:
    ToolkitSettings();

    /// Where there is no preference, the toolkit's own setting applies again. Does nothing if the
    /// user has named a theme for the toolkit that sets a font.
    void apply(const DesktopPreferences& preferences) const;

  private:
    bool isThemeNamed_;
    QFont font_;
    int doubleClickTime_;
    int cursorFlashTime_;
};

} // namespace kestrelnet
