// SPDX-License-Identifier: MIT
#include "platform/Log.h"

#include <QLoggingCategory>
#include <QString>

#include <array>
#include <cstddef>
#include <string>

namespace kestrelnet::log {

namespace {

/// The least type of message that is on without a rule.
constexpr QtMsgType enabledByDefault = QtCriticalMsg;

const QLoggingCategory& loggingCategory(Category category) {
    // In the order of the enumerators. Never destroyed, because other threads may still write
    // messages while the program exits.
    static const auto& categories = *new const std::array<QLoggingCategory, 6>{
        QLoggingCategory("kestrelnet.tunnel", enabledByDefault),
        QLoggingCategory("kestrelnet.output", enabledByDefault),
        QLoggingCategory("kestrelnet.exitip", enabledByDefault),
        QLoggingCategory("kestrelnet.settings", enabledByDefault),
        QLoggingCategory("kestrelnet.system", enabledByDefault),
        QLoggingCategory("kestrelnet.desktop", enabledByDefault),
    };
    return categories.at(static_cast<std::size_t>(category));
}

QString fromUtf8(std::string_view message) {
    return QString::fromUtf8(message.data(), static_cast<qsizetype>(message.size()));
}

} // namespace

void debug(Category category, std::string_view message) {
    qCDebug(loggingCategory(category)).noquote() << fromUtf8(message);
}

void warning(Category category, std::string_view message) {
    qCWarning(loggingCategory(category)).noquote() << fromUtf8(message);
}

void warning(Category category, std::string_view message, std::error_code reason) {
    warning(category, std::string(message) + ": " + reason.message());
}

void error(Category category, std::string_view message, std::error_code reason) {
    qCCritical(loggingCategory(category)).noquote()
        << fromUtf8(std::string(message) + ": " + reason.message());
}

bool isEnabled(Category category) {
    return loggingCategory(category).isDebugEnabled();
}

} // namespace kestrelnet::log
