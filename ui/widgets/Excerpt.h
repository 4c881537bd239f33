// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kestrelnet {

/// `text` itself, or, when it is longer than any view can show, its two ends around an ellipsis: a
/// client may write a line of any length, and no layout should ever meet it. UTF-8 in and out.
std::string excerpt(std::string_view text);

} // namespace kestrelnet
