// SPDX-License-Identifier: MIT
#include "ui/StatusBarIcon.h"

#include "ui/QtText.h"

#include <QDir>

namespace kestrelnet {

QIcon statusBarIcon(std::string_view symbol) {
    const QDir folder(QStringLiteral(":/status-bar"));
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 44, 48, 64}) {
        icon.addFile(folder.filePath(QStringLiteral("%1-%2.png").arg(qtText(symbol)).arg(side)),
                     QSize(side, side));
    }
    return icon;
}

} // namespace kestrelnet
