// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"

#include <functional>
#include <memory>

namespace kestrelnet {

/// Draws once in the next turn of the main loop, however often it is asked to: a change notice
/// comes before the new value is stored, and many come at once. Main thread only.
class Redraw {
  public:
    /// `draw` is not called once this object is gone.
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
