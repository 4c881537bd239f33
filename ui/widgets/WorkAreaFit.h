// SPDX-License-Identifier: MIT
#pragma once

#include <QMargins>
#include <QMetaObject>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QSize>

class QScreen;
class QWidget;

namespace kestrelnet {

/// Returns the size for the content of a window with this frame: `wanted`, or less if the window
/// would be larger than the work area.
QSize fittedSize(QSize wanted, const QMargins& frame, QSize workArea);

/// Returns the position at which `window`, including its frame, is inside the work area and moved
/// as little as possible. The upper left corner comes first if it is too large.
QPoint fittedPosition(const QRect& window, const QRect& workArea);

/// Keeps a window that has a fixed size no larger than the work area of its screen, and inside it,
/// also after a change of the work area or of the screen. Main thread only.
class WorkAreaFit final : public QObject {
  public:
    /// `window`, which is not shown yet, gets the size `wanted` if there is room for it. It owns
    /// this object.
    WorkAreaFit(QWidget& window, QSize wanted);

    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void followWindow();
    void followScreen(QScreen* screen);
    void fit();
    void moveInside();

    QWidget& window_;
    QSize wanted_;
    QPointer<QScreen> screen_;
    QMetaObject::Connection workAreaChanges_;
};

} // namespace kestrelnet
