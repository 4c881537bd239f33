// SPDX-License-Identifier: MIT
#include "ui/shell/TrayIcon.h"

#include "core/TunnelManager.h"
#include "ui/shell/StatusBarIcon.h"
#include "ui/style/QtText.h"
#include "ui/style/StatusStyle.h"

#include <QAction>

#include <utility>

namespace kestrelnet {

TrayIcon::TrayIcon(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions)
    : tunnel_(tunnel), actions_(std::move(actions)),
      redraw_(std::move(mainQueue), [this] { refresh(); }),
      subscription_(tunnel.objectWillChange.subscribe([this] { redraw_.request(); })) {
    fillMenu();
    refresh();
    QObject::connect(&icon_, &QSystemTrayIcon::activated, &icon_,
                     [this](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger) {
                             actions_.togglePanel();
                         } else if (reason == QSystemTrayIcon::DoubleClick) {
                             // Comes after a click of its own on some trays.
                             actions_.openPanel();
                         }
                     });
    icon_.setContextMenu(&menu_);
    icon_.show();
}

void TrayIcon::fillMenu() {
    const auto add = [this](const QString& label, const std::function<void()>& action) {
        return menu_.addAction(label, &menu_, action);
    };
    add(QStringLiteral("Open Kestrelnet"), actions_.openPanel);
    toggle_ = add({}, actions_.toggleTunnel);
    menu_.addSeparator();
    add(QStringLiteral("Settings..."), actions_.showSettings);
    add(QStringLiteral("Quit"), actions_.quit);
}

void TrayIcon::refresh() {
    const TunnelStatus status = tunnel_.status;
    const std::string_view symbol = statusBarSymbol(status);
    if (symbol != shownSymbol_) {
        QIcon& icon = icons_[symbol];
        if (icon.isNull()) {
            icon = statusBarIcon(symbol);
        }
        icon_.setIcon(icon);
        shownSymbol_ = symbol;
    }
    const QString toolTip = QStringLiteral("Kestrelnet VPN: ") + qtText(rawValue(status));
    if (toolTip != icon_.toolTip()) {
        icon_.setToolTip(toolTip);
    }
    toggle_->setText(qtText(connectButton(status).label));
    toggle_->setVisible(tunnel_.isConfigured());
}

} // namespace kestrelnet
