// SPDX-License-Identifier: MIT
#include "ui/shell/TrayIcon.h"

#include "core/TunnelManager.h"
#include "ui/shell/StatusBarIcon.h"
#include "ui/style/QtText.h"
#include "ui/style/StatusStyle.h"

#include <QAction>

#include <utility>

namespace kestrelnet {

TrayIcon::TrayIcon(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions,
                   TrayTraits traits)
    : actions_(std::move(actions)), traits_(traits),
      updater_(std::move(mainQueue),
               {.content = [&tunnel] { return trayContent(tunnel); },
                .apply = [this](const TrayContent& content) { apply(content); },
                .isVisible = [] { return true; }}),
      subscription_(tunnel.objectWillChange.subscribe([this] { updater_.noteChange(); })) {
    fillMenu();
    updater_.update();
    QObject::connect(&icon_, &QSystemTrayIcon::activated, &icon_,
                     [this](QSystemTrayIcon::ActivationReason reason) { handleClick(reason); });
    if (!traits_.opensMenuAtEachClick) {
        icon_.setContextMenu(&menu_);
    }
    icon_.show();
}

void TrayIcon::handleClick(QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) {
        actions_.togglePanel();
    } else if (reason == QSystemTrayIcon::DoubleClick) {
        // Some trays send a click before it.
        actions_.openPanel();
    } else if (reason == QSystemTrayIcon::Context && traits_.opensMenuAtEachClick) {
        menu_.popup(icon_.geometry().bottomLeft());
    }
}

void TrayIcon::fillMenu() {
    const auto add = [this](const QString& label, const std::function<void()>& action) {
        return menu_.addAction(label, &menu_, action);
    };
    state_ = menu_.addAction(QString());
    state_->setEnabled(false);
    menu_.addSeparator();
    add(QStringLiteral("Open Kestrelnet"), actions_.openPanel);
    toggle_ = add({}, actions_.toggleTunnel);
    menu_.addSeparator();
    add(QStringLiteral("Settings..."), actions_.showSettings);
    add(QStringLiteral("Quit"), actions_.quit);
}

void TrayIcon::apply(const TrayContent& content) {
    const std::string_view symbol = statusBarSymbol(content.status);
    QIcon& icon = icons_[symbol];
    if (icon.isNull()) {
        icon = statusBarIcon(symbol, traits_.drawsShapeOnly);
    }
    // Each call of these sends something to the tray.
    if (icon.cacheKey() != icon_.icon().cacheKey()) {
        icon_.setIcon(icon);
    }
    const QString toolTip = QStringLiteral("Kestrelnet VPN: ") + qtText(rawValue(content.status));
    if (toolTip != icon_.toolTip()) {
        icon_.setToolTip(toolTip);
    }
    // Sends nothing if the text is the same. An ampersand would mark the key of the line.
    state_->setText(QString(content.stateLine).replace(u'&', QStringLiteral("&&")));
    toggle_->setText(qtText(connectButton(content.status).label));
    toggle_->setVisible(content.canToggle);
}

} // namespace kestrelnet
