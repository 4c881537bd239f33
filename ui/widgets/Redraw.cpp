// SPDX-License-Identifier: MIT
#include "ui/widgets/Redraw.h"

#include <utility>

namespace kestrelnet {

/// The jobs on the queue hold it weakly.
struct Redraw::Pending : std::enable_shared_from_this<Pending> {
    Pending(std::shared_ptr<Queue> queue, Draw drawing)
        : mainQueue(std::move(queue)), draw(std::move(drawing)) {}

    void request() {
        if (!std::exchange(requested, true) && !inFrame) {
            mainQueue->async(calling(&Pending::drawNow));
        }
    }

    void drawNow() {
        requested = false;
        // Set first, so that a request by `draw` itself waits for the end of the frame.
        inFrame = true;
        inFrame = draw();
        if (inFrame) {
            mainQueue->asyncAfter(frame, calling(&Pending::endFrame));
        } else if (requested) {
            mainQueue->async(calling(&Pending::drawNow));
        }
    }

    void endFrame() {
        inFrame = false;
        if (requested) {
            drawNow();
        }
    }

    Queue::Job calling(void (Pending::*step)()) {
        return [weak = weak_from_this(), step] {
            if (const auto self = weak.lock()) {
                ((*self).*step)();
            }
        };
    }

    std::shared_ptr<Queue> mainQueue;
    Draw draw;
    bool requested = false;
    bool inFrame = false;
};

Redraw::Redraw(std::shared_ptr<Queue> mainQueue, Draw draw)
    : pending_(std::make_shared<Pending>(std::move(mainQueue), std::move(draw))) {}

void Redraw::request() {
    pending_->request();
}

} // namespace kestrelnet
