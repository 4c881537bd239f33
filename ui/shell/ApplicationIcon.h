// SPDX-License-Identifier: MIT
#pragma once

class QIcon;

namespace kestrelnet {

/// The icon for the application's windows, for desktops that do not use the desktop entry's icon.
QIcon applicationIcon();

} // namespace kestrelnet
