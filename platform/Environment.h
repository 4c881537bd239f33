// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

namespace kestrelnet {

using Environment = std::map<std::string, std::string>;

/// A copy of this process's environment, without entries that have no "=". When a name occurs
/// twice, the first entry counts, as it does for getenv().
Environment currentEnvironment();

} // namespace kestrelnet
