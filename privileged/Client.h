// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/TrustedFile.h"

#include <array>
#include <optional>
#include <string>

namespace kestrelnet::privileged {

/// The only client that the helper runs: the copy that an administrator approved by installing it.
constexpr const char* clientPath = "/Library/PrivilegedHelperTools/kestrelnet-client";

/// What a user may choose of the client's environment, as "NAME=VALUE".
struct ClientValues {
    static constexpr std::array names{"DEVICE_API_KEY", "AUTH_URL", "RELAY_ADDR"};
    /// Nothing when one is longer than 4 KiB; one that is not set is left out.
    static std::optional<ClientValues> fromEnvironment();

    std::array<std::string, names.size()> entries;
};

/// Becomes the client, open as `client`: root in every way, with a clean environment of `values`
/// and nothing else of the caller's but standard output and error. Returns only when that fails,
/// with what failed.
const char* becomeClient(const TrustedFile& client, const ClientValues& values);

} // namespace kestrelnet::privileged
