// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>
#include <QPixmap>

#include <string_view>

namespace kestrelnet {

/// The shield symbol for a status bar whose colour nobody knows: light, on a dark shield that is a
/// little larger. So it looks the same on every ground.
QPixmap statusBarPixmap(std::string_view symbol, int side);

/// The same in all sizes that status bars ask for.
QIcon statusBarIcon(std::string_view symbol);

} // namespace kestrelnet
