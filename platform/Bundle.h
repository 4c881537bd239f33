// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet::bundle {

/// The folder of the application's bundle, found from the running executable: the folder whose
/// "Contents" holds the executable's own folder, or, for an executable that lies elsewhere, the
/// executable's folder. Without a separator at the end.
std::string mainBundlePath();

} // namespace kestrelnet::bundle
