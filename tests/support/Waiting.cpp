// SPDX-License-Identifier: MIT
#include "tests/support/Waiting.h"

#include <chrono>
#include <filesystem>
#include <iterator>
#include <poll.h>
#include <thread>

namespace kestrelnet {

namespace {

std::size_t entries(const char* folder) {
    using std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(directory_iterator(folder), {}));
}

} // namespace

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

std::size_t openDescriptors() {
    return entries("/proc/self/fd");
}

std::size_t runningThreads() {
    // The thread sanitizer starts a thread together with the first one. Count it from the
    // beginning.
    [[maybe_unused]] static const bool first = (std::thread([] {}).join(), true);
    return entries("/proc/self/task");
}

} // namespace kestrelnet
