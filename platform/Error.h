// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// Why an operation of the platform failed, as a value.
struct Error {
    /// A sentence or phrase for the user, in the user's locale where the system has one.
    std::string description;
};

} // namespace kestrelnet
