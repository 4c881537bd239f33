// SPDX-License-Identifier: MIT
#include "ui/panel/Panel.h"

#include "ui/panel/PanelPlacement.h"
#include "ui/style/Colors.h"
#include "ui/style/TextStyle.h"
#include "ui/widgets/AccessibleRole.h"
#include "ui/widgets/TextRow.h"
#include "ui/widgets/Windows.h"

#include <QApplication>
#include <QBitmap>
#include <QCloseEvent>
#include <QCursor>
#include <QHBoxLayout>
#include <QImage>
#include <QKeyEvent>
#include <QMoveEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

#include <utility>

namespace kestrelnet {

namespace {

using namespace std::chrono_literals;

constexpr qreal cornerRadius = 10;

/// A click on the tray icon first deactivates the panel. The click is reported at most this much
/// later.
constexpr auto clickDuration = 300ms;

/// While the focus moves to the panel, the toolkit may report that no window is active: its report
/// for a window that was closed comes late.
constexpr auto activationDuration = 50ms;

/// How often the panel is placed again when the window manager has chosen another position. Some
/// do so once when they first show a window.
constexpr int mostCorrections = 3;

/// On Wayland a program cannot read the pointer position or place its windows.
bool mayPlaceWindows() {
    return !QGuiApplication::platformName().startsWith(QLatin1StringView("wayland"));
}

QString explanation(Panel::Closing closing) {
    return closing == Panel::Closing::hides
               ? QStringLiteral("This desktop has no tray for icons, so Kestrelnet is a window. "
                                "Closing it only hides it: start Kestrelnet again to get it back.")
               : QStringLiteral("This desktop has no tray for icons, so Kestrelnet is a window. "
                                "Closing it only minimizes it.");
}

} // namespace

Panel::Panel(Form form, Context context)
    : form_(form), context_(std::move(context)), column_(new QVBoxLayout(this)) {
    setAccessibleRole(*this, QAccessible::Window);
    setWindowTitle(QStringLiteral("Kestrelnet VPN"));
    if (form_ == Form::popup) {
        setWindowFlags(Qt::Tool | Qt::FramelessWindowHint);
        setAttribute(Qt::WA_TranslucentBackground);
    }
    column_->setContentsMargins({});
    column_->setSpacing(0);
    column_->setSizeConstraint(QLayout::SetFixedSize);
    fill();
}

/// Creates the content, again after each change of the font. The content keeps no state.
void Panel::fill() {
    const bool isExplained = explanation_ != nullptr;
    delete std::exchange(explanation_, nullptr);
    delete std::exchange(view_,
                         new MenuBarView(context_.tunnel, context_.mainQueue, context_.actions));
    column_->addWidget(view_);
    view_->show();
    if (isExplained) {
        explainWindow();
        explanation_->show();
    }
}

void Panel::explainWindow() {
    auto* row = new TextRow({.font = textFont(TextStyle::caption),
                             .color = ColorRole::secondary,
                             .width = MenuBarView::innerWidth,
                             .maxLines = 4});
    row->setContent(explanation(context_.closing));
    explanation_ = new QWidget;
    auto* margins = new QHBoxLayout(explanation_);
    margins->setContentsMargins(MenuBarView::padding, 0, MenuBarView::padding,
                                MenuBarView::padding);
    margins->addWidget(row);
    column_->addWidget(explanation_);
}

void Panel::endExplanation() {
    delete std::exchange(explanation_, nullptr);
}

void Panel::open() {
    if (isVisible()) {
        return bringToFront(*this);
    }
    view_->refresh();
    view_->focusMainButton();
    openedAt_ = QCursor::pos();
    adjustSize();
    corrections_ = mostCorrections;
    place();
    if (form_ == Form::popup) {
        keepOutOfTaskBars(winId());
    }
    bringToFront(*this);
    // Last, so that windows which this opens are in front of the panel.
    context_.appeared();
}

void Panel::toggle() {
    if (form_ == Form::window) {
        return open();
    }
    if (isVisible()) {
        hide();
    } else if (!justClosedByClick()) {
        open();
    }
    deactivatedAt_.reset();
}

bool Panel::justClosedByClick() const {
    return deactivatedAt_ && context_.clock->now() - *deactivatedAt_ < clickDuration;
}

void Panel::handleDeactivation() {
    if (QApplication::activeWindow() != nullptr) {
        return hideUnlessOwnDialogIsActive();
    }
    inactiveSince_ = context_.clock->now();
    context_.mainQueue->asyncAfter(activationDuration,
                                   [panel = QPointer(this), since = *inactiveSince_] {
                                       if (panel && panel->inactiveSince_ == since) {
                                           panel->hideUnlessOwnDialogIsActive();
                                       }
                                   });
}

void Panel::hideUnlessOwnDialogIsActive() {
    const QWidget* const active = QApplication::activeWindow();
    if (active == nullptr) {
        hideAsDeactivated(inactiveSince_.value_or(context_.clock->now()));
    } else if (active->parentWidget() != this) {
        // One of our windows is active now, so the deactivation was no click on the tray icon.
        hide();
    }
}

/// Hides the panel for a click that may be one on the tray icon.
void Panel::hideAsDeactivated(Clock::Time at) {
    deactivatedAt_ = at;
    hide();
}

/// The area of the tray icon as far as it is known. Over some protocols a program does not learn
/// it, and an icon that the tray does not show has one that means nothing.
QRect Panel::iconArea(QRect workArea) const {
    const QRect known = context_.iconArea ? context_.iconArea() : QRect();
    return known.contains(openedAt_) ? known : assumedIcon(openedAt_, workArea);
}

void Panel::place() {
    if (form_ != Form::popup || !mayPlaceWindows()) {
        return;
    }
    const QScreen* screen = QGuiApplication::screenAt(openedAt_);
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen != nullptr) {
        const QRect workArea = screen->availableGeometry();
        placedAt_ = panelPosition(iconArea(workArea), size(), workArea);
        move(placedAt_);
    }
}

bool Panel::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate && form_ == Form::popup && isVisible()) {
        handleDeactivation();
    } else if (event->type() == QEvent::WindowActivate) {
        inactiveSince_.reset();
    } else if (event->type() == QEvent::ApplicationFontChange) {
        fill();
    }
    return QWidget::event(event);
}

void Panel::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && form_ == Form::popup) {
        hide();
    } else {
        QWidget::keyPressEvent(event);
    }
}

void Panel::closeEvent(QCloseEvent* event) {
    if (form_ == Form::window && context_.closing == Closing::minimizes) {
        event->ignore();
        showMinimized();
    }
}

void Panel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (form_ == Form::popup && !event->spontaneous()) {
        // A compositor may have started or ended.
        shapeCorners();
        // Not at the press: the tray reports a click on the icon at its press or at its release.
        outsideClicks_.emplace([this] { hideAsDeactivated(context_.clock->now()); });
    }
}

void Panel::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    if (!event->spontaneous()) {
        outsideClicks_.reset();
        inactiveSince_.reset();
        endExplanation();
    }
}

void Panel::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    if (form_ == Form::popup && isVisible() && corrections_ > 0 && event->pos() != placedAt_) {
        --corrections_;
        QTimer::singleShot(0, this, [this] { place(); });
    }
}

void Panel::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (form_ == Form::popup && isVisible()) {
        shapeCorners();
        place();
    }
}

/// Where transparent pixels are black, a mask cuts the corners, in steps of a pixel.
void Panel::shapeCorners() {
    hasMask_ = !showsTransparency();
    if (!hasMask_) {
        clearMask();
        return;
    }
    QImage image(size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    drawBackground(image);
    setMask(QBitmap::fromImage(image.createAlphaMask(Qt::ThresholdAlphaDither)));
}

void Panel::paintEvent(QPaintEvent*) {
    if (form_ != Form::popup) {
        return;
    }
    if (hasMask_) {
        // For the pixels of the steps that are outside the outline.
        QPainter(this).fillRect(rect(), lineColor());
    }
    drawBackground(*this);
}

void Panel::drawBackground(QPaintDevice& device) const {
    QPainter painter(&device);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(palette().window());
    painter.setPen(lineColor());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius,
                            cornerRadius);
}

} // namespace kestrelnet
