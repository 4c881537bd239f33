// SPDX-License-Identifier: MIT
// What the fake client says about itself. The sources are in one folder per system.
#pragma once

#include <array>
#include <string>
#include <unistd.h>

namespace fakeClient {

/// The name of the space in which the identifier of this process counts. It contains no blank.
std::string processSpace();
/// The path of this program.
std::string programPath();
/// The real, the effective and the saved user of this process.
std::array<uid_t, 3> users();

} // namespace fakeClient
