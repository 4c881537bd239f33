// SPDX-License-Identifier: MIT
#include "ui/panel/CopyMenu.h"

#include "core/TunnelManager.h"
#include "ui/panel/MenuBarContent.h"
#include "ui/style/QtText.h"
#include "ui/widgets/TextRow.h"

#include <QAction>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QMenu>

#include <memory>
#include <string>

namespace kestrelnet {

namespace {

/// Without the control characters of a hostile line: a terminal would obey them.
void addCopy(QMenu& menu, const QString& label, const std::string& text) {
    menu.addAction(label, &menu, [text = visibleText(qtText(text))] {
        QGuiApplication::clipboard()->setText(text);
    });
}

} // namespace

void openCopyMenu(const TunnelManager& tunnel, const QContextMenuEvent& event, QWidget& parent) {
    auto menu = std::make_unique<QMenu>(&parent);
    const MenuBarContent shown = menuBarContent(tunnel);
    if (shown.exitIP) {
        addCopy(*menu, QStringLiteral("Copy Exit IP"), **tunnel.exitIP);
    }
    if (shown.lastLog) {
        addCopy(*menu, QStringLiteral("Copy Last Line"), tunnel.lastLog);
    }
    if (menu->isEmpty()) {
        return;
    }
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setWindowTitle(QStringLiteral("Copy"));
    if (event.reason() == QContextMenuEvent::Keyboard) {
        menu->setActiveAction(menu->actions().constFirst());
    }
    menu.release()->popup(event.globalPos());
}

} // namespace kestrelnet
