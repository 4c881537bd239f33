// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "platform/TrayHost.h"
#include "ui/shell/TrayContent.h"
#include "ui/widgets/ContentUpdater.h"

#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>

#include <functional>
#include <map>
#include <memory>
#include <string_view>

namespace kestrelnet {

class TunnelManager;

/// The icon in the desktop's status bar: shows the status and opens the panel. Its menu shows the
/// state and offers everything that the panel does, because some trays only open the menu. Create
/// it only on a desktop that has a tray.
class TrayIcon {
  public:
    struct Actions {
        std::function<void()> togglePanel;
        std::function<void()> openPanel;
        std::function<void()> toggleTunnel;
        std::function<void()> showSettings;
        std::function<void()> quit;
    };

    TrayIcon(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions,
             TrayTraits traits = trayTraits());

    const QSystemTrayIcon& icon() const { return icon_; }
    const QMenu& menu() const { return menu_; }

  private:
    void fillMenu();
    void handleClick(QSystemTrayIcon::ActivationReason reason);
    void apply(const TrayContent& content);

    Actions actions_;
    TrayTraits traits_;
    QMenu menu_;
    QAction* state_ = nullptr;
    QAction* toggle_ = nullptr;
    QSystemTrayIcon icon_;
    /// The icons made so far, by symbol.
    std::map<std::string_view, QIcon> icons_;
    ContentUpdater<TrayContent> updater_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet
