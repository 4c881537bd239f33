// SPDX-License-Identifier: MIT
#include "core/DeviceKey.h"

#include "platform/Text.h"

#include <cstddef>

namespace kestrelnet {

namespace {

constexpr std::string_view keyPrefix = "dev_";
constexpr std::size_t shortestKey = 11;

} // namespace

bool isDeviceKey(std::string_view key) {
    return key.starts_with(keyPrefix) && text::characterCount(key) >= shortestKey;
}

} // namespace kestrelnet
