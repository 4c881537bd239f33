// SPDX-License-Identifier: MIT
#include "tests/support/Waiting.h"

#include <chrono>
#include <poll.h>

namespace kestrelnet {

bool waitFor(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        // Give the processor to other threads until the next check.
        ::poll(nullptr, 0, 1);
    }
    return true;
}

} // namespace kestrelnet
