// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "ui/panel/MenuBarContent.h"
#include "ui/widgets/Redraw.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QVBoxLayout;

namespace kestrelnet {

class BorderlessButton;
class FilledButton;
class TextRow;

/// What the panel holds: the state of the tunnel, the button that changes it, and the ways to the
/// settings and out. It keeps no state of its own; hidden, it only notes that something changed.
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

    /// Shows the present state now, as becoming visible does.
    void refresh();
    /// Moves the keyboard focus to the first control.
    void focusMainButton();

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void addStatus(QVBoxLayout& column);
    void addAction(QVBoxLayout& column);
    void addFooter(QVBoxLayout& all);
    void noteChange();
    void apply(const MenuBarContent& content);
    void applyAction(const MenuBarContent& content);

    const TunnelManager& tunnel_;
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

    std::optional<MenuBarContent> shown_;
    bool dirty_ = true;
    Redraw redraw_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet
