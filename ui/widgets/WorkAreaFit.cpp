// SPDX-License-Identifier: MIT
#include "ui/widgets/WorkAreaFit.h"

#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QWidget>
#include <QWindow>

#include <algorithm>

namespace kestrelnet {

namespace {

/// Wayland tells neither the height of the desktop's bars nor that of a title bar which the
/// compositor draws. This is enough for most.
constexpr int unknownBars = 80;

bool isWayland() {
    return QGuiApplication::platformName().startsWith(QLatin1StringView("wayland"));
}

QSize workAreaSize(const QScreen& screen) {
    const QSize size = screen.availableSize();
    return isWayland() ? size - QSize(0, unknownBars) : size;
}

/// Moves a span of `length` from `start` into the range that begins at `low`.
int inside(int start, int length, int low, int range) {
    return std::max(low, std::min(start, low + range - length));
}

} // namespace

QSize fittedSize(QSize wanted, const QMargins& frame, QSize workArea) {
    return wanted.boundedTo(workArea.shrunkBy(frame));
}

QPoint fittedPosition(const QRect& window, const QRect& workArea) {
    return {inside(window.left(), window.width(), workArea.left(), workArea.width()),
            inside(window.top(), window.height(), workArea.top(), workArea.height())};
}

WorkAreaFit::WorkAreaFit(QWidget& window, QSize wanted)
    : QObject(&window), window_(window), wanted_(wanted) {
    followScreen(window_.screen());
    window_.installEventFilter(this);
}

bool WorkAreaFit::eventFilter(QObject* watched, QEvent* event) {
    if (watched == &window_ && event->type() == QEvent::Show) {
        followWindow();
    } else if (watched != &window_ && event->type() == QEvent::Expose) {
        // Now the frame has its size.
        fit();
    }
    return false;
}

void WorkAreaFit::followWindow() {
    QWindow* const window = window_.windowHandle();
    window->installEventFilter(this);
    connect(window, &QWindow::screenChanged, this, &WorkAreaFit::followScreen,
            Qt::UniqueConnection);
    followScreen(window->screen());
}

void WorkAreaFit::followScreen(QScreen* screen) {
    if (screen == screen_) {
        return;
    }
    disconnect(workAreaChanges_);
    screen_ = screen;
    if (screen != nullptr) {
        workAreaChanges_ = connect(screen, &QScreen::availableGeometryChanged, this, [this] {
            fit();
            moveInside();
        });
    }
    fit();
}

void WorkAreaFit::fit() {
    if (!screen_) {
        return;
    }
    const QWindow* const window = window_.windowHandle();
    const QMargins frame = window != nullptr ? window->frameMargins() : QMargins();
    const QSize size = fittedSize(wanted_, frame, workAreaSize(*screen_));
    if (window_.minimumSize() != size || window_.maximumSize() != size) {
        window_.setFixedSize(size);
        moveInside();
    }
}

void WorkAreaFit::moveInside() {
    QWindow* const window = window_.windowHandle();
    if (window == nullptr || !window->isVisible() || !screen_ || isWayland()) {
        return;
    }
    const QRect frame(window->framePosition(), window_.size().grownBy(window->frameMargins()));
    const QPoint position = fittedPosition(frame, screen_->availableGeometry());
    if (position != frame.topLeft()) {
        window->setFramePosition(position);
    }
}

} // namespace kestrelnet
