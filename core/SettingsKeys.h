// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// The keys of the persistent settings.
namespace kestrelnet::settings {

inline constexpr std::string_view apiKey = "kestrelnet_api_key";
inline constexpr std::string_view autoConnect = "kestrelnet_auto_connect";
inline constexpr std::string_view startAtLogin = "kestrelnet_start_at_login";

} // namespace kestrelnet::settings
