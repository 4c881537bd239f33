// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

namespace kestrelnet {

using Environment = std::map<std::string, std::string>;

/// A copy of this process's environment. Entries without "=" are left out.
Environment currentEnvironment();

} // namespace kestrelnet
