// SPDX-License-Identifier: MIT
// A controller on the real system with temporary files, for measurements inside one process.
#pragma once

#include "core/TunnelManager.h"

#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <string>

namespace kestrelnet::benchmarks {

/// The full path of the file `name` in the folder of the running program.
std::string besideThisProgram(const char* name);

/// Needs a Qt application. Main thread only.
class Controller {
  public:
    /// `helper` is used as the helper and as the client; it must exist.
    explicit Controller(const std::string& helper);

    TunnelManager& tunnel() { return *tunnel_; }

    /// Runs the event loop until `condition` is true. After changes, it is evaluated once in the
    /// next turn of the main loop, as a view is redrawn. Gives up after `bound`.
    void serveUntil(const std::function<bool()>& condition, std::chrono::seconds bound,
                    const std::string& failure);

    /// The number of change notices since the start.
    std::size_t noticeCount() const { return noticeCount_; }

  private:
    void noteChange();

    QTemporaryDir root_;
    std::shared_ptr<Queue> mainQueue_;
    std::shared_ptr<TunnelManager> tunnel_;
    std::size_t noticeCount_ = 0;
    bool dirty_ = false;
    std::function<void()> redraw_;
    ObservableObjectPublisher::Subscription subscription_;
};

} // namespace kestrelnet::benchmarks
