// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// Hears when somebody outside wants the program to end: by SIGTERM, SIGINT or SIGHUP, as shutdown,
/// a terminal and a service manager do, or as the desktop does when the session ends. While it
/// lives, none of them ends the program by itself. A signal that was ignored when the program
/// started stays ignored: who started it so, with nohup for example, wanted that.
///
/// One at a time; main thread only, with the Qt application made.
class EndRequests {
  public:
    /// `wanted` is called from the event loop, once: who asks again gets nothing new.
    explicit EndRequests(std::function<void()> wanted);
    ~EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;

  private:
    class Watch;
    std::unique_ptr<Watch> watch_;
};

} // namespace kestrelnet
