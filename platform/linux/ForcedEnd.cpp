// SPDX-License-Identifier: MIT
#include "platform/linux/ForcedEnd.h"

#include "platform/linux/HeldProcess.h"
#include "platform/linux/SessionBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>

#include <csignal>

namespace kestrelnet {

namespace {

/// 0 when nobody owns `name`.
pid_t ownerOf(const QString& name) {
    const QDBusReply<uint> owner = sessionBus().interface()->servicePid(name);
    return owner.isValid() ? static_cast<pid_t>(owner.value()) : 0;
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
    return process.endsWithin(patience);
}

} // namespace kestrelnet
