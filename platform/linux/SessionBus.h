// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>

class QDBusConnection;
class QDBusError;

namespace kestrelnet {

/// The connection to the session bus; a new connection after a restart of the bus, because the
/// toolkit does not reconnect its own. Main thread only, after the Qt application has been created.
QDBusConnection sessionBus();

/// The name and the text of a D-Bus error, for the log.
std::string describe(const QDBusError& error);

/// Calls `returned` each time the connection was lost and has been made again. Names, objects and
/// matches must then be registered again. Main thread only.
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
