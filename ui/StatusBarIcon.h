// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>
#include <QPixmap>

#include <string_view>

namespace kestrelnet {

/// The symbol for a status bar whose colour nobody knows: light, with a dark edge around it.
QPixmap statusBarPixmap(std::string_view symbol, int side);

/// The same in all sizes that status bars ask for.
QIcon statusBarIcon(std::string_view symbol);

} // namespace kestrelnet
