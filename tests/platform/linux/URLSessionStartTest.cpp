// SPDX-License-Identifier: MIT
// A test program of its own, because a library stays loaded after the test that loaded it.
#include "platform/URLSession.h"

#include <QCoreApplication>
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

bool hasLoadedNetworkLibrary() {
    return hasLoaded("libQt6Network.");
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
    EXPECT_FALSE(hasLoadedNetworkLibrary());
    EXPECT_FALSE(hasLoadedTls());
    EXPECT_EQ(threadCount(), threads);
    session.data("https://127.0.0.1:1", [](const auto&) {});
    EXPECT_FALSE(hasLoadedNetworkLibrary()) << "what else is due in this turn had to wait";
    QCoreApplication::processEvents();
    EXPECT_TRUE(hasLoadedNetworkLibrary());
    EXPECT_TRUE(hasLoadedTls());
    EXPECT_GT(threadCount(), threads);
}

} // namespace
} // namespace kestrelnet
