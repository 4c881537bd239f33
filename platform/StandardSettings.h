// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

class QSettings;

namespace kestrelnet {

/// The application's own settings, where the system keeps such.
std::unique_ptr<QSettings> standardSettings();

} // namespace kestrelnet
