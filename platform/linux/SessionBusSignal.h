// SPDX-License-Identifier: MIT
#pragma once

#include "platform/linux/SessionBus.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kestrelnet {

class SignalReceiver;

/// Calls back at each D-Bus signal of one kind on the session bus, whoever sends it: naming the
/// sender would make the bus be asked for its owner, and the caller wait. So a signal is a reason
/// to ask again, not an answer; so is the bus's return after a restart, which calls back too.
/// Silent where there is no session bus.
class SessionBusSignal {
  public:
    struct Match {
        std::string path;
        std::string interface;
        std::string name;
        /// What the first arguments, texts all of them, have to be.
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
