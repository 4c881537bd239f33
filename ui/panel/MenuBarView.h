// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "ui/panel/MenuBarContent.h"
#include "ui/widgets/ContentUpdater.h"

#include <QWidget>

#include <functional>
#include <memory>

class QVBoxLayout;

namespace kestrelnet {

class BorderlessButton;
class FilledButton;
class TextRow;

/// The panel's content: the state of the tunnel, the button that changes it, and buttons for the
/// settings and for quitting. It keeps no state of its own. A context menu copies the exit IP and
/// the last line; the keyboard opens it with the Menu key or Shift+F10.
class MenuBarView final : public QWidget {
  public:
    static constexpr int fullWidth = 280;
    static constexpr int padding = 16;
    static constexpr int innerWidth = fullWidth - 2 * padding;

    struct Actions {
        std::function<void()> toggle;
        std::function<void()> showSettings;
        std::function<void()> quit;
    };

    MenuBarView(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions,
                QWidget* parent = nullptr);

    /// Shows the current state now, also while hidden.
    void refresh() { updater_.update(); }
    /// Moves the keyboard focus to the first control.
    void focusMainButton();

  protected:
    void contextMenuEvent(QContextMenuEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

  private:
    void addStatus(QVBoxLayout& column);
    void addAction(QVBoxLayout& column);
    void addFooter(QVBoxLayout& all);
    void apply(const MenuBarContent& content);
    void applyAction(const MenuBarContent& content);

    TunnelManager& tunnel_;
    Actions actions_;
    TextRow* header_ = nullptr;
    TextRow* status_ = nullptr;
    TextRow* exitIP_ = nullptr;
    TextRow* server_ = nullptr;
    TextRow* keyMissing_ = nullptr;
    FilledButton* openSettings_ = nullptr;
    FilledButton* toggle_ = nullptr;
    TextRow* lastLog_ = nullptr;
    BorderlessButton* settings_ = nullptr;
    BorderlessButton* quit_ = nullptr;

    ContentUpdater<MenuBarContent> updater_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet
