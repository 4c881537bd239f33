// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"

#include <functional>
#include <memory>

namespace kestrelnet {

/// Calls a function once in the next turn of the main loop after any number of requests. A change
/// notice is sent before the new value is stored; in the next turn it is stored. Main thread only.
class Redraw {
  public:
    /// `draw` is not called after this object is destroyed.
    Redraw(std::shared_ptr<Queue> mainQueue, std::function<void()> draw);

    void request();

  private:
    struct Pending {
        std::function<void()> draw;
        bool requested = false;
    };

    std::shared_ptr<Queue> mainQueue_;
    std::shared_ptr<Pending> pending_;
};

} // namespace kestrelnet
