// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <sys/resource.h>

// The part of CleanState that differs from system to system.
namespace kestrelnet::privileged::systemState {

struct Limit {
    decltype(RLIMIT_CORE) resource;
    rlim_t soft;
    rlim_t hard;
};

/// The resource limits of a run: all that the system has.
std::span<const Limit> limits();

/// Resets the state that only this system passes on. Returns null, or what could not be reset.
const char* reset();

} // namespace kestrelnet::privileged::systemState
