// SPDX-License-Identifier: MIT
#pragma once

#include <QIcon>

#include <string_view>

namespace kestrelnet {

/// The shield symbol for a status bar, in all sizes that status bars ask for; each is loaded when
/// it is asked for.
QIcon statusBarIcon(std::string_view symbol);

} // namespace kestrelnet
