// SPDX-License-Identifier: MIT
#pragma once

#include "core/Observable.h"
#include "core/TunnelStatus.h"
#include "ui/widgets/Redraw.h"

#include <QIcon>
#include <QMenu>
#include <QSystemTrayIcon>

#include <functional>
#include <map>
#include <memory>
#include <string_view>

namespace kestrelnet {

class TunnelManager;

/// The icon in the desktop's status bar: shows the status and opens the panel. Its menu offers all
/// that the panel does, for trays that open nothing else. To be made only where there is a tray.
class TrayIcon {
  public:
    struct Actions {
        std::function<void()> togglePanel;
        std::function<void()> openPanel;
        std::function<void()> toggleTunnel;
        std::function<void()> showSettings;
        std::function<void()> quit;
    };

    TrayIcon(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions);

    const QSystemTrayIcon& icon() const { return icon_; }
    const QMenu& menu() const { return menu_; }

  private:
    void fillMenu();
    void refresh();

    const TunnelManager& tunnel_;
    Actions actions_;
    QMenu menu_;
    QAction* toggle_ = nullptr;
    QSystemTrayIcon icon_;
    /// The icons drawn so far, by symbol.
    std::map<std::string_view, QIcon> icons_;
    std::string_view shownSymbol_;
    Redraw redraw_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet
