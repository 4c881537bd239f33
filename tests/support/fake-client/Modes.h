// SPDX-License-Identifier: MIT
// What the fake client does, by the name of its mode.
#pragma once

#include <span>
#include <string_view>

namespace fakeClient {

struct Mode {
    std::string_view name;
    /// When it returns, the client handles commands.
    void (*run)(std::string_view argument);
};

/// Modes that differ in what they write.
std::span<const Mode> outputModes();
/// Modes that differ in how they end, and in the processes that they start.
std::span<const Mode> processModes();
/// Modes that only one system has. The sources are in one folder per system.
std::span<const Mode> systemModes();

} // namespace fakeClient
