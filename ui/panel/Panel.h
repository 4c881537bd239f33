// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"
#include "ui/panel/MenuBarView.h"

#include <QPoint>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QVBoxLayout;

namespace kestrelnet {

/// The window around the panel's content.
class Panel final : public QWidget {
  public:
    enum class Form {
        /// Belongs to the tray icon: frameless, opened at the pointer, gone when another window
        /// becomes active or at Escape.
        popup,
        /// Stands in for the tray icon on desktops without a tray: an ordinary window that stays.
        window,
    };

    /// What closing an ordinary window does.
    enum class Closing {
        hides,
        /// Where nothing could bring a hidden window back.
        minimizes,
    };

    struct Context {
        TunnelManager& tunnel;
        std::shared_ptr<Queue> mainQueue;
        std::shared_ptr<Clock> clock;
        MenuBarView::Actions actions;
        /// Called each time the panel comes into view.
        std::function<void()> appeared;
        Closing closing = Closing::hides;
    };

    Panel(Form form, Context context);

    Form form() const { return form_; }

    /// Says below the content, until the window is closed, why it is a window.
    void explainWindow();
    /// Shows the panel and brings it to the front.
    void open();
    /// What a click on the tray icon does.
    void toggle();

  protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

  private:
    void fill();
    bool justClosedByClick() const;
    void hideUnlessOwnDialogIsActive();
    void place();

    Form form_;
    Context context_;
    QVBoxLayout* column_;
    MenuBarView* view_ = nullptr;
    QWidget* explanation_ = nullptr;
    QPoint openedAt_;
    std::optional<Clock::Time> deactivatedAt_;
};

} // namespace kestrelnet
