// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kestrelnet {

/// `text`, the content of a shell's start-up file, without the lines that contain ".kestrelnet".
/// Only a line feed ends a line. All other bytes are kept, including a missing line feed at the
/// end.
std::string withoutOwnLines(std::string_view text);

} // namespace kestrelnet
