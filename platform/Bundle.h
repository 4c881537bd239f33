// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace kestrelnet::bundle {

/// The folder of the application's bundle, found from the running executable: the folder whose
/// "Contents" holds the executable's own folder, or, for an executable that lies elsewhere, the
/// executable's folder. Without a separator at the end.
std::string mainBundlePath();

/// The version of the bundle at `path`, its "CFBundleShortVersionString"; nothing when that is
/// missing or not a string.
std::optional<std::string> shortVersionString(const std::string& path);

} // namespace kestrelnet::bundle
