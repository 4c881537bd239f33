// SPDX-License-Identifier: MIT
#include "platform/linux/ScreenResolution.h"

#include <QGuiApplication>
#include <QObject>
#include <QScreen>

#include <cmath>

namespace kestrelnet {

namespace {

constexpr double plainDotsPerInch = 96;
/// Without a setting, the server computes the resolution from the size of the screen in
/// millimetres.
constexpr double tolerance = 2;

QScreen* x11Screen() {
    return qobject_cast<QGuiApplication*>(QCoreApplication::instance()) != nullptr &&
                   QGuiApplication::platformName() == QLatin1String("xcb")
               ? QGuiApplication::primaryScreen()
               : nullptr;
}

} // namespace

class ScreenResolution::Watch : public QObject {};

ScreenResolution::ScreenResolution(const std::function<void()>& changed)
    : watch_(std::make_unique<Watch>()) {
    if (const QScreen* const screen = x11Screen()) {
        QObject::connect(screen, &QScreen::logicalDotsPerInchChanged, watch_.get(), changed);
    }
}

ScreenResolution::~ScreenResolution() = default;

double ScreenResolution::scaleToApply(double textScale) const {
    const QScreen* const screen = x11Screen();
    if (screen == nullptr) {
        return textScale;
    }
    // The toolkit turns a higher resolution into a scale of whole windows.
    const double dotsPerInch = screen->logicalDotsPerInch() * screen->devicePixelRatio();
    return std::abs(dotsPerInch - plainDotsPerInch) <= tolerance ? textScale : 1;
}

} // namespace kestrelnet
