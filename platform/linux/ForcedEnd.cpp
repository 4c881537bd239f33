// SPDX-License-Identifier: MIT
#include "platform/linux/ForcedEnd.h"

#include "platform/Log.h"
#include "platform/linux/HeldProcess.h"
#include "platform/linux/SessionBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusReply>

#include <csignal>

namespace kestrelnet {

namespace {

constexpr auto noOwner = "org.freedesktop.DBus.Error.NameHasNoOwner";

/// 0 when nobody owns `name` or the bus does not answer.
pid_t ownerOf(const QString& name) {
    const QDBusReply<uint> owner = sessionBus().interface()->servicePid(name);
    if (owner.isValid()) {
        return static_cast<pid_t>(owner.value());
    }
    if (owner.error().name() != QLatin1String(noOwner)) {
        log::warning(log::Category::desktop,
                     "the process of the running instance is unknown: " + describe(owner.error()));
    }
    return 0;
}

} // namespace

bool killOwner(const std::string& name, std::chrono::milliseconds patience) {
    const QString busName = QString::fromStdString(name);
    const pid_t pid = ownerOf(busName);
    if (pid == 0) {
        return true;
    }
    const HeldProcess process(pid);
    // Asked again: the process may have ended and its identifier gone to another one before it was
    // held.
    if (ownerOf(busName) == pid && !process.kill(SIGKILL)) {
        return process.endsWithin(std::chrono::milliseconds::zero());
    }
    const bool ended = process.endsWithin(patience);
    if (!ended) {
        log::warning(log::Category::desktop, "the running instance does not end in time");
    }
    return ended;
}

} // namespace kestrelnet
