// SPDX-License-Identifier: MIT
#include "ui/style/Colors.h"

#include <QApplication>

namespace kestrelnet {

namespace {

struct Shades {
    QRgb light;
    QRgb dark;

    QColor in(Scheme scheme) const {
        return QColor::fromRgb(scheme == Scheme::dark ? dark : light);
    }
};

constexpr Shades window{0xfff6f6f7, 0xff26272a};
constexpr Shades base{0xffffffff, 0xff1c1d1f};
constexpr Shades button{0xffffffff, 0xff36373b};
constexpr Shades line{0xffd9dadd, 0xff45474c};
constexpr Shades outline{0xff7d8086, 0xff8e9198};
constexpr Shades primary{0xff1d1e20, 0xfff1f2f4};
constexpr Shades secondary{0xff5c6066, 0xffabaeb5};
constexpr Shades disabled{0xff989ba1, 0xff73767d};
constexpr Shades accent{0xff0b60c9, 0xff78b4ff};
constexpr Shades orange{0xffbf4a00, 0xffffad4d};
constexpr Shades orangeSymbol{0xffdd6700, 0xffffad4d};
constexpr Shades green{0xff1b7a38, 0xff4fcf73};
constexpr Shades red{0xffc4262e, 0xffff817a};
constexpr Shades accentFill{0xff0b60c9, 0xff1f66c7};
constexpr Shades orangeFill{0xffbf4a00, 0xffb34700};
constexpr Shades greenFill{0xff1b7a38, 0xff217a3c};
constexpr Shades redFill{0xffc4262e, 0xffc73a3a};
constexpr Shades secondaryFill{0xff5c6066, 0xff5e6269};

/// The factor for QColor::darker, in percent, of fills and of colours on white with high contrast.
constexpr int highContrastFactor = 160;

ColorMode currentMode;

QColor highContrastText(Scheme scheme) {
    return scheme == Scheme::dark ? Qt::white : Qt::black;
}

QPalette withHighContrast(QPalette palette, Scheme scheme) {
    const QColor ground = scheme == Scheme::dark ? Qt::black : Qt::white;
    const QColor text = highContrastText(scheme);
    for (const auto role : {QPalette::Window, QPalette::Base, QPalette::AlternateBase,
                            QPalette::Button, QPalette::ToolTipBase}) {
        palette.setColor(role, ground);
    }
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                            QPalette::ToolTipText, QPalette::PlaceholderText}) {
        palette.setColor(QPalette::Active, role, text);
        palette.setColor(QPalette::Inactive, role, text);
    }
    palette.setColor(QPalette::Highlight, accentFill.in(scheme).darker(highContrastFactor));
    return palette;
}

QColor normalTextColor(ColorRole role, Scheme scheme) {
    switch (role) {
    case ColorRole::secondary:
        return secondary.in(scheme);
    case ColorRole::accent:
        return accent.in(scheme);
    case ColorRole::orange:
        return orange.in(scheme);
    case ColorRole::green:
        return green.in(scheme);
    case ColorRole::red:
        return red.in(scheme);
    case ColorRole::primary:
        break;
    }
    return primary.in(scheme);
}

QColor normalFillColor(ColorRole role, Scheme scheme) {
    switch (role) {
    case ColorRole::orange:
        return orangeFill.in(scheme);
    case ColorRole::green:
        return greenFill.in(scheme);
    case ColorRole::red:
        return redFill.in(scheme);
    case ColorRole::primary:
    case ColorRole::secondary:
        return secondaryFill.in(scheme);
    case ColorRole::accent:
        break;
    }
    return accentFill.in(scheme);
}

QColor between(const QColor& one, const QColor& other) {
    return QColor::fromRgbF((one.redF() + other.redF()) / 2, (one.greenF() + other.greenF()) / 2,
                            (one.blueF() + other.blueF()) / 2);
}

} // namespace

ColorMode colorMode() {
    return currentMode;
}

void setColorMode(ColorMode mode) {
    currentMode = mode;
    QApplication::setPalette(modePalette(mode));
}

QPalette modePalette(ColorMode mode) {
    const Scheme scheme = mode.scheme;
    QPalette palette(button.in(scheme), window.in(scheme));
    palette.setColor(QPalette::WindowText, primary.in(scheme));
    palette.setColor(QPalette::Text, primary.in(scheme));
    palette.setColor(QPalette::ButtonText, primary.in(scheme));
    palette.setColor(QPalette::Base, base.in(scheme));
    palette.setColor(QPalette::AlternateBase, window.in(scheme));
    palette.setColor(QPalette::ToolTipBase, button.in(scheme));
    palette.setColor(QPalette::ToolTipText, primary.in(scheme));
    palette.setColor(QPalette::PlaceholderText, secondary.in(scheme));
    palette.setColor(QPalette::Link, accent.in(scheme));
    palette.setColor(QPalette::LinkVisited, accent.in(scheme));
    palette.setColor(QPalette::Highlight, accentFill.in(scheme));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, disabled.in(scheme));
    }
    return mode.contrast == Contrast::high ? withHighContrast(palette, scheme) : palette;
}

Scheme schemeOf(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() <
                   palette.color(QPalette::WindowText).lightness()
               ? Scheme::dark
               : Scheme::light;
}

QColor textColor(ColorRole role, ColorMode mode) {
    const QColor color = normalTextColor(role, mode.scheme);
    if (mode.contrast == Contrast::normal) {
        return color;
    }
    if (role == ColorRole::primary || role == ColorRole::secondary) {
        return highContrastText(mode.scheme);
    }
    return mode.scheme == Scheme::dark ? color : color.darker(highContrastFactor);
}

QColor fillColor(ColorRole role, ColorMode mode) {
    const QColor color = normalFillColor(role, mode.scheme);
    return mode.contrast == Contrast::high ? color.darker(highContrastFactor) : color;
}

QColor symbolColor(ColorRole role, ColorMode mode) {
    return role == ColorRole::orange && mode.contrast == Contrast::normal
               ? orangeSymbol.in(mode.scheme)
               : textColor(role, mode);
}

QColor fillEdgeColor(ColorRole role, ColorMode mode) {
    const QColor fill = fillColor(role, mode);
    if (mode.scheme == Scheme::light) {
        return fill;
    }
    return mode.contrast == Contrast::high ? highContrastText(mode.scheme)
                                           : between(fill, normalTextColor(role, mode.scheme));
}

QColor outlineColor(ColorMode mode) {
    return mode.contrast == Contrast::high ? highContrastText(mode.scheme)
                                           : outline.in(mode.scheme);
}

QColor lineColor(ColorMode mode) {
    return mode.contrast == Contrast::high ? highContrastText(mode.scheme) : line.in(mode.scheme);
}

} // namespace kestrelnet
