// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>

#include <string_view>

namespace kestrelnet {

/// The shield symbol for a status bar: by the name under which it is installed in the desktop's
/// icon theme, for the desktop to draw in its own colours; and as pictures for the desktops that
/// draw no other, or where it is not installed. The toolkit's own icons of a theme would load the
/// theme into this process.
QIcon statusBarIcon(std::string_view symbol);

} // namespace kestrelnet
