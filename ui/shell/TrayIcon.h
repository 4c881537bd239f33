// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "core/TunnelStatus.h"
#include "platform/TrayHost.h"
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

/// The icon in the desktop's status bar: shows the status and opens the panel. Its menu offers
/// everything that the panel does, because some trays only open the menu. Create it only on a
/// desktop that has a tray.
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
    struct Content {
        TunnelStatus status = TunnelStatus::disconnected;
        bool canToggle = false;

        bool operator==(const Content&) const = default;
    };

    void fillMenu();
    void handleClick(QSystemTrayIcon::ActivationReason reason);
    void apply(const Content& content);

    Actions actions_;
    TrayTraits traits_;
    QMenu menu_;
    QAction* toggle_ = nullptr;
    QSystemTrayIcon icon_;
    /// The icons made so far, by symbol.
    std::map<std::string_view, QIcon> icons_;
    ContentUpdater<Content> updater_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet
