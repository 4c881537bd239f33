// SPDX-License-Identifier: MIT
// The shells' start-up files.
#pragma once

#include <string>
#include <string_view>

namespace kestrelnet {

/// `text` without the lines that mention ".kestrelnet" anywhere. Lines end at a line feed alone;
/// the others stay byte for byte, and so does a line feed at the end, or its absence.
std::string withoutOwnLines(std::string_view text);

} // namespace kestrelnet
