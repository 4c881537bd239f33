// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/SessionBus.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kestrelnet {

class SignalReceiver;

/// Calls `received` at each matching D-Bus signal on the session bus, from any sender: a match by
/// the sender's name would block until the bus has resolved that name. So do not trust a signal;
/// use it as a reason to ask. Also calls `received` after a restart of the bus. Without a session
/// bus, there are no calls.
class SessionBusSignal {
  public:
    struct Match {
        std::string path;
        std::string interface;
        std::string name;
        /// The required values of the first arguments, which must be strings.
        std::vector<std::string> arguments;
    };

    SessionBusSignal(Match match, std::function<void()> received);
    ~SessionBusSignal();
    SessionBusSignal(const SessionBusSignal&) = delete;
    SessionBusSignal& operator=(const SessionBusSignal&) = delete;

  private:
    void listen() const;

    Match match_;
    std::unique_ptr<SignalReceiver> receiver_;
    SessionBusReturn busReturn_;
};

} // namespace kestrelnet
