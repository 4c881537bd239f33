// SPDX-License-Identifier: MIT
#include "ui/Theme.h"

#include <QApplication>

namespace kestrelnet {

Theme::Theme()
    : unasked_(schemeOf(QApplication::palette())),
      appearance_([this](ColorScheme preference) { apply(preference); }) {
    apply(appearance_.colorScheme());
}

void Theme::apply(ColorScheme preference) const {
    switch (preference) {
    case ColorScheme::dark:
        return QApplication::setPalette(schemePalette(Scheme::dark));
    case ColorScheme::light:
        return QApplication::setPalette(schemePalette(Scheme::light));
    case ColorScheme::noPreference:
        return QApplication::setPalette(schemePalette(unasked_));
    }
}

} // namespace kestrelnet
