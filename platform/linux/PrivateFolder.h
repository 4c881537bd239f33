// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// Returns a folder that only the current user can enter, with a separator at the end.
///
/// This is `runtimeFolder` if it is absolute and such a folder. Otherwise it is the first usable
/// one of `fallback`, `fallback`-1 and so on up to `fallback`-99; another user may have taken some
/// of these names. It is created if none exists. Every process of the user gets the same folder.
/// Without a usable one the result is "/dev/null/".
std::string privateFolder(const char* runtimeFolder, const std::string& fallback);

} // namespace kestrelnet
