// SPDX-License-Identifier: MIT
#include "ui/shell/TrayContent.h"

#include "core/TunnelManager.h"
#include "ui/style/QtText.h"
#include "ui/widgets/Excerpt.h"

#include <algorithm>

namespace kestrelnet {

namespace {

/// Longer than every address.
constexpr qsizetype longestAddress = 48;

/// An address as it is. The lookup does not check the answer, and a menu is as wide as its widest
/// line, so any other text is reduced to one short line.
QString shortLine(const std::string& text) {
    QString line = qtText(excerpt(text)).simplified();
    std::replace_if(
        line.begin(), line.end(), [](QChar c) { return c.category() == QChar::Other_Control; },
        QChar(QChar::ReplacementCharacter));
    if (line.size() > longestAddress) {
        const bool splitsCharacter = line.at(longestAddress - 2).isHighSurrogate();
        line.truncate(longestAddress - (splitsCharacter ? 2 : 1));
        line.append(u'\u2026');
    }
    return line;
}

} // namespace

TrayContent trayContent(const TunnelManager& tunnel) {
    const TunnelStatus status = tunnel.status;
    TrayContent content{.status = status,
                        .stateLine = qtText(rawValue(status)),
                        .canToggle = tunnel.isConfigured()};
    if (status == TunnelStatus::connected && *tunnel.exitIP) {
        content.stateLine += QStringLiteral(", exit IP ") + shortLine(**tunnel.exitIP);
    }
    return content;
}

} // namespace kestrelnet
