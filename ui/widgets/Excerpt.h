// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kestrelnet {

/// Returns `text`, or its two ends with an ellipsis between them if it is longer than a view can
/// show. A client may write lines of any length, and layout time grows with the length. UTF-8 in
/// and out.
std::string excerpt(std::string_view text);

} // namespace kestrelnet
