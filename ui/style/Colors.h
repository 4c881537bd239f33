// SPDX-License-Identifier: MIT
// The application's colours: which colour a role has in light and in dark windows, with normal and
// with high contrast. Main thread only.
#pragma once

#include "ui/style/ColorRole.h"

#include <QColor>
#include <QPalette>

namespace kestrelnet {

enum class Scheme { light, dark };
enum class Contrast { normal, high };

struct ColorMode {
    Scheme scheme = Scheme::light;
    Contrast contrast = Contrast::normal;

    bool operator==(const ColorMode&) const = default;
};

/// The mode that the application shows. Light with normal contrast until it is set.
ColorMode colorMode();

/// Sets the mode and the application's palette. All widgets are repainted.
void setColorMode(ColorMode mode);

/// The application's palette in `mode`.
QPalette modePalette(ColorMode mode);

/// The scheme of any palette: dark if its text is lighter than its windows.
Scheme schemeOf(const QPalette& palette);

/// For text on a window. Readable at any size.
QColor textColor(ColorRole role, ColorMode mode = colorMode());

/// For symbols and circles on a window. They need less contrast than text, so an orange can be
/// lighter than what reads as brown.
QColor symbolColor(ColorRole role, ColorMode mode = colorMode());

/// For the face of a filled button. White text on it is readable.
QColor fillColor(ColorRole role, ColorMode mode = colorMode());

/// For the edge of such a face, so that it stands out from the window. The same colour as the face
/// where that stands out by itself.
QColor fillEdgeColor(ColorRole role, ColorMode mode = colorMode());

/// For the outline by which a user finds a control, such as a field.
QColor outlineColor(ColorMode mode = colorMode());

/// For separators and frames. Weaker than an outline: they only decorate.
QColor lineColor(ColorMode mode = colorMode());

} // namespace kestrelnet
