// SPDX-License-Identifier: MIT
#pragma once

#include <QFont>

namespace kestrelnet {

/// The sizes of text, each in proportion to the desktop's own font.
enum class TextStyle { title2, headline, body, caption, caption2 };

QFont textFont(TextStyle style);
QFont monospacedFont(TextStyle style);

} // namespace kestrelnet
