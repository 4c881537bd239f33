// SPDX-License-Identifier: MIT
#include "platform/linux/ForcedEnd.h"

#include "platform/linux/SessionBus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusReply>

#include <csignal>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kestrelnet {

namespace {

/// 0 when nobody owns `name`.
pid_t ownerOf(const QString& name) {
    const QDBusReply<uint> owner = sessionBus().interface()->servicePid(name);
    return owner.isValid() ? static_cast<pid_t>(owner.value()) : 0;
}

/// A process held by a descriptor, which no other process can come to stand for.
class HeldProcess {
  public:
    explicit HeldProcess(pid_t pid)
        : descriptor_(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0))) {}
    ~HeldProcess() { ::close(descriptor_); }
    HeldProcess(const HeldProcess&) = delete;
    HeldProcess& operator=(const HeldProcess&) = delete;

    void kill() const { ::syscall(SYS_pidfd_send_signal, descriptor_, SIGKILL, nullptr, 0); }
    bool endsWithin(std::chrono::milliseconds patience) const {
        pollfd end{descriptor_, POLLIN, 0};
        return ::poll(&end, 1, static_cast<int>(patience.count())) == 1;
    }

  private:
    int descriptor_;
};

} // namespace

bool killOwner(const std::string& name, std::chrono::milliseconds patience) {
    const QString busName = QString::fromStdString(name);
    const pid_t pid = ownerOf(busName);
    if (pid == 0) {
        return true;
    }
    const HeldProcess process(pid);
    // Asked again: the number may have gone to another process before it was held.
    if (ownerOf(busName) == pid) {
        process.kill();
    }
    return process.endsWithin(patience);
}

} // namespace kestrelnet
