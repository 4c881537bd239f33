// SPDX-License-Identifier: MIT
// The colours behind the roles, for light and for dark windows. A widget asks with its own palette,
// so that a change of appearance needs no more than a new palette.
#pragma once

#include "ui/style/ColorRole.h"

#include <QColor>
#include <QPalette>

namespace kestrelnet {

enum class Scheme { light, dark };
enum class Contrast { normal, high };

/// The application's palette.
QPalette schemePalette(Scheme scheme, Contrast contrast = Contrast::normal);

/// Dark when the palette writes light on dark.
Scheme schemeOf(const QPalette& palette);

/// High when the palette has nothing but black and white for its text.
Contrast contrastOf(const QPalette& palette);

/// For text and symbols on a window: readable at any size.
QColor textColor(ColorRole role, const QPalette& palette);

/// For the face of a filled button: white text on it is readable.
QColor fillColor(ColorRole role, const QPalette& palette);

/// For hairlines between and around things.
QColor lineColor(const QPalette& palette);

} // namespace kestrelnet
