// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kestrelnet {

/// Whether `key` has the form of a device key: it starts with "dev_" and has at least 11
/// characters. A character is one that the user perceives as such, not a byte.
bool isDeviceKey(std::string_view key);

} // namespace kestrelnet
