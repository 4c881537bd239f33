// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

class QSettings;

namespace kestrelnet {

/// The user's settings of the application that `domain` names (reverse DNS), in the system's usual
/// place.
std::unique_ptr<QSettings> standardSettings(const std::string& domain);

} // namespace kestrelnet
