// SPDX-License-Identifier: MIT
// A program of its own: what one test has loaded stays loaded for the next.
#include "platform/URLSession.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kestrelnet {
namespace {

/// Whether this process has loaded what a secure connection needs.
bool hasLoadedTls() {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/libssl.") != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::ptrdiff_t threadCount() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(threads, {});
}

TEST(URLSessionStart, LoadsAndStartsNothingBeforeTheFirstLookup) {
    const auto threads = threadCount();
    const bool loadedBefore = hasLoadedTls();
    URLSession session;
    EXPECT_EQ(hasLoadedTls(), loadedBefore);
    EXPECT_EQ(threadCount(), threads);
    session.data("https://127.0.0.1:1", [](const auto&) {});
    EXPECT_TRUE(hasLoadedTls());
    EXPECT_GT(threadCount(), threads);
}

} // namespace
} // namespace kestrelnet
