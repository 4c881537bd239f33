// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <new>
#include <thread>

namespace kestrelnet {

/// Calls `action` and returns its result. As long as there is no memory for it, that is, it throws
/// std::bad_alloc, calls it again after a tenth of a second. Not on the main thread, which must not
/// wait.
template <typename Action>
auto whenThereIsMemory(const Action& action) {
    for (;;) {
        try {
            return action();
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
    }
}

} // namespace kestrelnet
