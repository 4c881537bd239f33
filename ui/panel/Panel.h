// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"
#include "platform/PopupWindow.h"
#include "ui/panel/MenuBarView.h"

#include <QPoint>
#include <QRect>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QVBoxLayout;

namespace kestrelnet {

/// The window of the panel.
class Panel final : public QWidget {
  public:
    enum class Form {
        /// For the tray icon: frameless, in no task bar, opens beside the icon or at the pointer,
        /// hides when another window becomes active, at a click beside it and at Escape.
        popup,
        /// For desktops without a tray: an ordinary window that stays open.
        window,
    };

    /// What closing an ordinary window does.
    enum class Closing {
        hides,
        /// For sessions in which the user could not open a hidden window again.
        minimizes,
    };

    struct Context {
        TunnelManager& tunnel;
        std::shared_ptr<Queue> mainQueue;
        std::shared_ptr<Clock> clock;
        MenuBarView::Actions actions;
        /// Called each time the panel is opened.
        std::function<void()> appeared;
        /// The area of the tray icon on the screen; empty if it is not known. May be empty itself.
        std::function<QRect()> iconArea = {};
        Closing closing = Closing::hides;
    };

    Panel(Form form, Context context);

    Form form() const { return form_; }

    /// Explains below the content why this is a window, until the window is closed.
    void explainWindow();
    /// Removes the explanation: it does not hold any longer.
    void endExplanation();
    /// Shows the panel and brings it to the front.
    void open();
    /// To be called for a click on the tray icon: opens or hides the panel.
    void toggle();

  protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    void fill();
    bool justClosedByClick() const;
    void handleDeactivation();
    void hideUnlessOwnDialogIsActive();
    void hideAsDeactivated(Clock::Time at);
    QRect iconArea(QRect workArea) const;
    void place();
    void shapeCorners();
    void drawBackground(QPaintDevice& device) const;

    Form form_;
    Context context_;
    QVBoxLayout* column_;
    MenuBarView* view_ = nullptr;
    QWidget* explanation_ = nullptr;
    /// The position of the pointer when the panel was opened.
    QPoint openedAt_;
    /// Where place() has put the panel, and how often it may still do so again.
    QPoint placedAt_;
    int corrections_ = 0;
    bool hasMask_ = false;
    std::optional<OutsideClicks> outsideClicks_;
    /// Set while no window of the program is active and the panel still shows.
    std::optional<Clock::Time> inactiveSince_;
    std::optional<Clock::Time> deactivatedAt_;
};

} // namespace kestrelnet
