// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// A folder that only the current user can enter, with a separator at the end: `runtimeFolder` when
/// it is one, and absolute; else `fallback`, made when it is missing; else, because somebody has
/// taken that name, a new one beside it.
std::string privateFolder(const char* runtimeFolder, std::string fallback);

} // namespace kestrelnet
