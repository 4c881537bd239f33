// SPDX-License-Identifier: MIT
#include "ui/widgets/Redraw.h"

#include <utility>

namespace kestrelnet {

Redraw::Redraw(std::shared_ptr<Queue> mainQueue, std::function<void()> draw)
    : mainQueue_(std::move(mainQueue)), pending_(std::make_shared<Pending>()) {
    pending_->draw = std::move(draw);
}

void Redraw::request() {
    if (pending_->requested) {
        return;
    }
    pending_->requested = true;
    mainQueue_->async([pending = std::weak_ptr(pending_)] {
        if (const auto self = pending.lock()) {
            self->requested = false;
            self->draw();
        }
    });
}

} // namespace kestrelnet
