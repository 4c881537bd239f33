// SPDX-License-Identifier: MIT
// On macOS, a click beside the panel makes another program active, which hides the panel. The
// panel's kind of window is not listed anywhere.
#include "platform/PopupWindow.h"

namespace kestrelnet {

void keepOutOfTaskBars(std::uintptr_t /*window*/) {}

bool showsTransparency() {
    return true;
}

class OutsideClicks::Listener {};

OutsideClicks::OutsideClicks(std::function<void()> /*clicked*/) {}

OutsideClicks::~OutsideClicks() = default;

} // namespace kestrelnet
