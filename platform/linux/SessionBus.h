// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

class QDBusConnection;

namespace kestrelnet {

/// The connection to the session bus, a new one after the bus has been restarted: the toolkit's own
/// never comes back. Main thread only, with the Qt application made.
QDBusConnection sessionBus();

/// Calls back each time the session bus was lost and has been reached again. Whatever was said to
/// the old one (names, objects, matches) is then to be said anew. Main thread only.
class SessionBusReturn {
  public:
    explicit SessionBusReturn(std::function<void()> returned);
    ~SessionBusReturn();
    SessionBusReturn(const SessionBusReturn&) = delete;
    SessionBusReturn& operator=(const SessionBusReturn&) = delete;

  private:
    class Receiver;
    std::unique_ptr<Receiver> receiver_;
};

} // namespace kestrelnet
