// SPDX-License-Identifier: MIT
// On macOS, a click beside the panel makes another program active, which hides the panel. The
// panel's kind of window is not listed anywhere.
#include "platform/PopupWindow.h"

namespace kestrelnet {

void keepOutOfTaskBars(std::uintptr_t /*window*/) {}

class ScreenClicks::Listener {};

ScreenClicks::ScreenClicks(Handlers /*handlers*/) {}

ScreenClicks::~ScreenClicks() = default;

} // namespace kestrelnet
