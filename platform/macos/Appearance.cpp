// SPDX-License-Identifier: MIT
// On macOS the toolkit follows the system's appearance itself.
#include "platform/Appearance.h"

namespace kestrelnet {

class Appearance::Setting {};

Appearance::Appearance(const Changed& /*changed*/) {}

Appearance::~Appearance() = default;

ColorScheme Appearance::colorScheme() const {
    return ColorScheme::noPreference;
}

bool Appearance::wantsHighContrast() const {
    return false;
}

} // namespace kestrelnet
