// SPDX-License-Identifier: MIT
#include "ui/style/Theme.h"

#include <QApplication>

namespace kestrelnet {

Theme::Theme()
    : toolkitScheme_(schemeOf(QApplication::palette())), appearance_([this] { apply(); }) {
    apply();
}

void Theme::apply() const {
    const DesktopPreferences preferences = appearance_.preferences();
    const ColorScheme preference = preferences.colorScheme;
    const Scheme scheme = preference == ColorScheme::dark    ? Scheme::dark
                          : preference == ColorScheme::light ? Scheme::light
                                                             : toolkitScheme_;
    const Contrast contrast = preferences.wantsHighContrast ? Contrast::high : Contrast::normal;
    setColorMode({scheme, contrast});
    toolkit_.apply(preferences);
}

} // namespace kestrelnet
