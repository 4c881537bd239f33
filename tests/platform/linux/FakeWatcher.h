// SPDX-License-Identifier: MIT
#pragma once

#include "tests/support/SessionBus.h"

#include <QDBusVariant>
#include <QDBusVirtualObject>

#include <gtest/gtest.h>

namespace kestrelnet {

inline constexpr auto watcherName = "org.kde.StatusNotifierWatcher";
inline constexpr auto watcherPath = "/StatusNotifierWatcher";

/// The StatusNotifierWatcher, the desktop's registry of tray icons and of their hosts.
class FakeWatcher : public QDBusVirtualObject {
  public:
    explicit FakeWatcher(bool hasHost) : hasHost_(hasHost) {
        EXPECT_TRUE(peer_.connection().registerVirtualObject(QLatin1String(watcherPath), this));
        EXPECT_TRUE(peer_.connection().registerService(QLatin1String(watcherName)));
    }

    const QDBusConnection& connection() { return peer_.connection(); }
    int questions() const { return questions_; }

    void registerHost() {
        hasHost_ = true;
        EXPECT_TRUE(peer_.connection().send(
            QDBusMessage::createSignal(QLatin1String(watcherPath), QLatin1String(watcherName),
                                       QStringLiteral("StatusNotifierHostRegistered"))));
    }

    QString introspect(const QString& /*path*/) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        const QVariantList expected{QLatin1String(watcherName),
                                    QStringLiteral("IsStatusNotifierHostRegistered")};
        if (message.member() != QLatin1String("Get") || message.arguments() != expected) {
            return false;
        }
        ++questions_;
        return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(hasHost_))));
    }

  private:
    BusPeer peer_;
    bool hasHost_;
    int questions_ = 0;
};

} // namespace kestrelnet
