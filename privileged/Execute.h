// SPDX-License-Identifier: MIT
#pragma once

#include "privileged/TrustedFile.h"

namespace kestrelnet::privileged {

/// Executes `program`, which openTrusted() has opened at `path`, with these null-terminated lists
/// of strings. A script keeps the descriptor that its interpreter reads it from. Returns only on
/// failure, with `errno`.
///
/// Linux executes the descriptor. macOS cannot: there the path is executed, which must still lead
/// to the same file because only root can write to the folders above it.
void execute(const TrustedFile& program, const char* path, char* const* arguments,
             char* const* environment);

} // namespace kestrelnet::privileged
