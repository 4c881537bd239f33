// SPDX-License-Identifier: MIT
// A test program of its own, because a library stays loaded after the test that loaded it.
#include "platform/URLSession.h"

#include "tests/support/EventLoop.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kestrelnet {
namespace {

/// Whether this process has loaded a library whose name starts with `name`.
bool hasLoaded(const std::string& name) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find('/' + name) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool hasLoadedHTTPLibrary() {
    return hasLoaded("libcurl.");
}

bool hasLoadedTls() {
    return hasLoaded("libssl.");
}

std::ptrdiff_t threadCount() {
    const std::filesystem::directory_iterator threads("/proc/self/task");
    return std::distance(threads, {});
}

TEST(URLSessionStartTest, loadsAndStartsNothingBeforeTheFirstLookup) {
    const auto threads = threadCount();
    URLSession session;
    EXPECT_FALSE(hasLoadedHTTPLibrary());
    EXPECT_FALSE(hasLoadedTls());
    EXPECT_EQ(threadCount(), threads);
    bool completed = false;
    session.data("https://127.0.0.1:1", [&](const auto&) { completed = true; });
    EXPECT_FALSE(hasLoadedHTTPLibrary()) << "what else is due in this turn had to wait";
    EXPECT_EQ(threadCount(), threads);
    ASSERT_TRUE(waitUntil([&] { return completed; }));
    EXPECT_TRUE(hasLoadedHTTPLibrary());
    EXPECT_TRUE(hasLoadedTls());
    EXPECT_TRUE(waitUntil([&] { return threadCount() == threads; })) << "the thread has not ended";
}

} // namespace
} // namespace kestrelnet
