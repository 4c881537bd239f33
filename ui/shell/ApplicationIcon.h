// SPDX-License-Identifier: MIT
#pragma once

class QIcon;

namespace kestrelnet {

/// The application's icon for its windows, where the desktop takes none from the desktop entry.
QIcon applicationIcon();

} // namespace kestrelnet
