// SPDX-License-Identifier: MIT
#include "ui/shell/SetupLink.h"

#include "core/DeviceKey.h"
#include "platform/Text.h"
#include "ui/style/QtText.h"

#include <QByteArray>
#include <QString>
#include <QStringTokenizer>
#include <QUrl>

#include <algorithm>
#include <cstddef>

namespace kestrelnet {

namespace {

constexpr std::string_view linkScheme = "kestrelnet:";
constexpr std::string_view linkPlace = "setup";
constexpr std::string_view keyItem = "key";

/// Rejects what QUrl accepts in strict mode although RFC 3986 does not: characters outside ASCII,
/// brackets outside a literal address, and a second '#'. Literal addresses are rejected as well.
bool hasOnlyURLCharacters(std::string_view url) {
    const auto isAllowed = [](char c) { return c > ' ' && c < '\x7f' && c != '[' && c != ']'; };
    return std::all_of(url.begin(), url.end(), isAllowed) &&
           std::count(url.begin(), url.end(), '#') <= 1;
}

/// Returns the text that the percent escapes stand for, or nothing if it is not UTF-8.
std::optional<std::string> decoded(QByteArrayView escaped) {
    std::string result = QByteArray::fromPercentEncoding(escaped.toByteArray()).toStdString();
    return text::isValidUtf8(result) ? std::optional(std::move(result)) : std::nullopt;
}

/// QUrl returns the host in lower case and rejects percent escapes in it.
bool namesSetupAsHost(std::string_view authority) {
    const std::size_t user = authority.find('@');
    if (user != std::string_view::npos) {
        authority.remove_prefix(user + 1);
    }
    const std::size_t hostEnd = std::min(authority.find(':'), authority.size());
    const bool hasValidPort =
        authority.find_first_not_of("0123456789", hostEnd + 1) == std::string_view::npos;
    return hasValidPort && decoded(authority.substr(0, hostEnd)) == linkPlace;
}

/// Returns the decoded value of the first item named "key", or nothing if that item has no value.
/// QUrlQuery would build a list of all items, which takes 50 bytes for each '&' of a long link.
std::optional<std::string> keyIn(const QString& query) {
    for (const QStringView item : qTokenize(query, u'&')) {
        const qsizetype equals = item.indexOf(u'=');
        const QStringView name = equals < 0 ? item : item.first(equals);
        if (decoded(name.toLatin1()) == keyItem) {
            return equals < 0 ? std::nullopt : decoded(item.sliced(equals + 1).toLatin1());
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> setupKey(std::string_view url) {
    if (!url.starts_with(linkScheme) || !hasOnlyURLCharacters(url)) {
        return std::nullopt;
    }
    const std::string_view hierarchy = url.substr(linkScheme.size());
    const bool hasAuthority = hierarchy.starts_with("//");
    QString checked = qtText(url);
    if (hasAuthority) {
        // With one slash less the authority is part of the path. QUrl then checks its characters
        // and escapes without the rules for hosts.
        checked.remove(static_cast<qsizetype>(linkScheme.size()), 1);
    }
    const QUrl parsed(checked, QUrl::StrictMode);
    const bool isSetup =
        hasAuthority ? namesSetupAsHost(hierarchy.substr(2, hierarchy.find_first_of("/?#", 2) - 2))
                     : parsed.path(QUrl::FullyDecoded) == qtText(linkPlace);
    if (!parsed.isValid() || !isSetup) {
        return std::nullopt;
    }
    std::optional<std::string> key = keyIn(parsed.query(QUrl::FullyEncoded));
    return key && isDeviceKey(*key) ? key : std::nullopt;
}

} // namespace kestrelnet
