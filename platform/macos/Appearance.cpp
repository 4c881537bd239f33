// SPDX-License-Identifier: MIT
// The toolkit follows the system by itself.
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
