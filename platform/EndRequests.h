// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace kestrelnet {

/// Reports requests to end the program: SIGTERM, SIGINT and SIGHUP, which a shutdown, a terminal or
/// a service manager sends, and the end of the desktop session. While this object exists, none of
/// them ends the program directly. A signal that was ignored at program start, for example because
/// of nohup, stays ignored.
///
/// One object at a time; main thread only, after the Qt application has been created.
class EndRequests {
  public:
    /// `wanted` is called once, from the event loop; further requests do nothing.
    explicit EndRequests(std::function<void()> wanted);
    ~EndRequests();
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;

  private:
    class Watch;
    std::unique_ptr<Watch> watch_;
};

} // namespace kestrelnet
