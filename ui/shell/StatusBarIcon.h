// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>

#include <string_view>

namespace kestrelnet {

/// The shield symbol for a status bar. It has the name of the installed symbol in the desktop's
/// icon theme, so that the desktop draws it in its own colours, and pictures for desktops that need
/// them or if the symbol is not installed. QIcon::fromTheme would load the theme into this process.
/// If the tray `drawsShapeOnly`, the icon says that its pictures are shapes.
QIcon statusBarIcon(std::string_view symbol, bool drawsShapeOnly = false);

} // namespace kestrelnet
