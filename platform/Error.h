// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kestrelnet {

/// The reason why a platform operation failed.
struct Error {
    /// A sentence or phrase for the user, in the user's locale where the system has one.
    std::string description;
};

} // namespace kestrelnet
