// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/TrustedFile.h"

#include <array>
#include <optional>
#include <string>

namespace kestrelnet::privileged {

/// The only client that the helper runs: the copy that an administrator installed.
constexpr const char* clientPath = "/Library/PrivilegedHelperTools/kestrelnet-client";

/// The part of the client's environment that the caller chooses, as "NAME=VALUE" entries. A
/// variable that is not set has an empty entry.
struct ClientValues {
    static constexpr std::array names{"DEVICE_API_KEY", "AUTH_URL", "RELAY_ADDR"};
    /// Returns nothing when a value is longer than 4096 bytes.
    static std::optional<ClientValues> fromEnvironment();

    std::array<std::string, names.size()> entries;
};

/// Executes `client` with an environment of `values` and fixed variables, the null device as
/// standard input, and no descriptors but the standard streams; a script also keeps the descriptor
/// that its interpreter reads it from. Returns only on failure, with the reason.
const char* becomeClient(const TrustedFile& client, const ClientValues& values);

} // namespace kestrelnet::privileged
