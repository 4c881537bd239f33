// SPDX-License-Identifier: MIT
#pragma once

namespace kestrelnet {

/// The meaning of a colour. The colour itself depends on the colour mode.
enum class ColorRole { primary, secondary, accent, orange, green, red };

} // namespace kestrelnet
