// SPDX-License-Identifier: MIT
#include "ui/style/ToolkitSettings.h"

#include <QApplication>
#include <QStyleHints>
#include <QtGlobal>

#include <algorithm>
#include <optional>

namespace kestrelnet {

namespace {

constexpr double smallestPoints = 6;
constexpr double largestPoints = 32;

/// Whether the user has named a theme for the toolkit and its plug-in was found, so that the font
/// is other than the toolkit's own on Linux. A session may name a theme that is not installed.
bool isThemeNamed() {
    constexpr auto genericFamily = QLatin1StringView("Sans Serif");
    constexpr int genericPoints = 9;
    const QFont font = QApplication::font();
    return !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORMTHEME") &&
           (font.family() != genericFamily || font.pointSize() != genericPoints);
}

int count(const std::optional<std::chrono::milliseconds>& time, int own) {
    return time ? static_cast<int>(time->count()) : own;
}

} // namespace

QFont preferredFont(const QFont& own, const DesktopPreferences& preferences) {
    QFont result = own;
    if (const auto& font = preferences.font) {
        result.setFamilies({QString::fromStdString(font->family)});
        result.setWeight(static_cast<QFont::Weight>(font->weight));
        result.setItalic(font->isItalic);
        if (font->points > 0) {
            result.setPointSizeF(font->points);
        }
    }
    const double points = result.pointSizeF() * preferences.textScale;
    if (points > 0 && (preferences.font || preferences.textScale != 1)) {
        result.setPointSizeF(std::clamp(points, smallestPoints, largestPoints));
    }
    return result;
}

ToolkitSettings::ToolkitSettings()
    : isThemeNamed_(isThemeNamed()), font_(QApplication::font()),
      doubleClickTime_(QApplication::doubleClickInterval()),
      cursorFlashTime_(QApplication::cursorFlashTime()) {}

void ToolkitSettings::apply(const DesktopPreferences& preferences) const {
    if (isThemeNamed_) {
        return;
    }
    const QFont font = preferredFont(font_, preferences);
    // Each call makes the windows create their content again.
    if (font != QApplication::font()) {
        QApplication::setFont(font);
    }
    QApplication::setDoubleClickInterval(count(preferences.doubleClickTime, doubleClickTime_));
    QApplication::setCursorFlashTime(count(preferences.cursorFlashTime, cursorFlashTime_));
}

} // namespace kestrelnet
