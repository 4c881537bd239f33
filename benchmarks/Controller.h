// SPDX-License-Identifier: MIT
// A controller on the real system but with files of its own, for measuring inside one process.
#pragma once

#include "core/TunnelManager.h"

#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <string>

namespace kestrelnet::benchmarks {

/// The full path of the program or file `name` beside the running program.
std::string besideThisProgram(const char* name);

/// Needs the Qt application made; main thread only.
class Controller {
  public:
    /// `helper` is both the helper and the client that must be there.
    explicit Controller(const std::string& helper);

    TunnelManager& tunnel() { return *tunnel_; }

    /// Serves events until `condition` is true, which is asked once in a turn of the main loop
    /// after changes, as a view is redrawn. Gives up after `bound`.
    void serveUntil(const std::function<bool()>& condition, std::chrono::seconds bound,
                    const std::string& failure);

    /// Changes announced since the start.
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
