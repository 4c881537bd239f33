// SPDX-License-Identifier: MIT
#pragma once

#include "platform/Dispatch.h"

#include <functional>
#include <memory>

namespace kestrelnet {

/// Calls a function after requests, at most once per frame of the screen. Main thread only.
///
/// The first request is answered in the next turn of the main loop: a change notice is sent before
/// the new value is stored, and in the next turn it is stored. Further requests in the same frame
/// are answered together by one call at its end. So nothing is drawn that the screen cannot show,
/// and the last state is always drawn.
class Redraw {
  public:
    /// Of a screen with 60 frames a second.
    static constexpr Seconds frame{1.0 / 60};

    /// Returns whether it has drawn anything. If not, no frame begins, and the next request is
    /// answered in the next turn.
    using Draw = std::function<bool()>;

    /// `draw` is not called after this object is destroyed.
    Redraw(std::shared_ptr<Queue> mainQueue, Draw draw);

    void request();

  private:
    struct Pending;

    std::shared_ptr<Pending> pending_;
};

} // namespace kestrelnet
