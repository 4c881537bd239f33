// SPDX-License-Identifier: MIT
#include "ui/shell/DropWatch.h"

#include "core/TunnelManager.h"
#include "ui/style/QtText.h"

#include <QPointer>
#include <QString>

#include <string>
#include <utility>

namespace kestrelnet {

namespace {

constexpr qsizetype longestBody = 200;
constexpr char16_t ellipsis = u'\u2026';

/// Also characters that change the direction of the text that follows them.
bool isInvisible(QChar c) {
    return c.category() == QChar::Other_Control || (c >= u'\u202a' && c <= u'\u202e') ||
           (c >= u'\u2066' && c <= u'\u2069');
}

/// On one line, without control characters, at most `longestBody` long.
QString plainLine(QString text) {
    for (QChar& c : text) {
        if (isInvisible(c) || c.isSpace()) {
            c = u' ';
        }
    }
    text = text.simplified();
    if (text.size() <= longestBody) {
        return text;
    }
    const qsizetype end =
        text.at(longestBody - 1).isHighSurrogate() ? longestBody - 1 : longestBody;
    return text.left(end) + ellipsis;
}

QString withoutKey(QString text, const QString& key) {
    return key.isEmpty() ? text : text.replace(key, QString(ellipsis));
}

} // namespace

Notification dropNotification(const TunnelManager& tunnel) {
    // The key first: a part of it would remain of a shortened text.
    const QString line = plainLine(withoutKey(qtText(*tunnel.lastLog), qtText(*tunnel.apiKey)));
    return {.summary = "VPN disconnected", .body = line.toStdString(), .opened = {}};
}

DropWatch::DropWatch(TunnelManager& tunnel, std::shared_ptr<Queue> mainQueue, Actions actions)
    : tunnel_(tunnel), mainQueue_(std::move(mainQueue)), actions_(std::move(actions)),
      seen_(tunnel.status),
      subscription_(tunnel.objectWillChange.subscribe([this] { noteChange(); })) {}

/// The notice comes before the new value is stored. So each value is seen at the next notice, or,
/// the last one, in the next turn of the main loop.
void DropWatch::noteChange() {
    look();
    if (!std::exchange(willLook_, true)) {
        mainQueue_->async([self = QPointer(this)] {
            if (self) {
                self->lookAgain();
            }
        });
    }
}

void DropWatch::lookAgain() {
    willLook_ = false;
    look();
}

void DropWatch::look() {
    const TunnelStatus status = tunnel_.status;
    if (std::exchange(seen_, status) == status) {
        return;
    }
    if (status == TunnelStatus::error) {
        if (std::exchange(wasConnected_, false)) {
            awaitPatience();
        }
        return;
    }
    pendingDrop_ = 0;
    if (std::exchange(isTold_, false)) {
        actions_.withdraw();
    }
    // A reconnection belongs to the same tunnel.
    if (status != TunnelStatus::reconnecting) {
        wasConnected_ = status == TunnelStatus::connected;
    }
}

void DropWatch::awaitPatience() {
    const std::uint64_t drop = ++latestDrop_;
    pendingDrop_ = drop;
    mainQueue_->asyncAfter(patience, [self = QPointer(this), queue = mainQueue_, drop] {
        // Behind the clean-up of a requested stop, which waits if the main thread was busy.
        queue->async([self, drop] {
            if (self) {
                self->tellIfPending(drop);
            }
        });
    });
}

void DropWatch::tellIfPending(std::uint64_t drop) {
    look();
    if (pendingDrop_ != drop) {
        return;
    }
    pendingDrop_ = 0;
    isTold_ = true;
    Notification notification = dropNotification(tunnel_);
    notification.opened = actions_.opened;
    actions_.tell(notification);
}

} // namespace kestrelnet
