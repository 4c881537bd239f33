// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

namespace kestrelnet {

/// A random number generator for one test. It prints its seed as an assignment to the environment
/// variable KESTRELNET_TEST_SEED; with that variable set, the test draws the same numbers again.
inline std::mt19937 seededGenerator() {
    const char* const variable = "KESTRELNET_TEST_SEED";
    const char* const given = std::getenv(variable);
    const unsigned long seed = given == nullptr ? std::random_device{}() : std::stoul(given);
    std::cout << variable << '=' << seed << std::endl;
    return std::mt19937(static_cast<std::mt19937::result_type>(seed));
}

} // namespace kestrelnet
