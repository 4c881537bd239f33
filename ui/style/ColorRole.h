// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet {

/// What a colour says; which colour that is depends on the light or dark appearance.
enum class ColorRole { primary, secondary, accent, orange, green, red };

} // namespace kestrelnet
