// SPDX-License-Identifier: MIT
#pragma once

#include <QFont>

namespace kestrelnet {

/// The text styles. Their sizes are relative to the desktop's font.
enum class TextStyle { title2, headline, body, caption, caption2 };

QFont textFont(TextStyle style);
QFont monospacedFont(TextStyle style);

} // namespace kestrelnet
