// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

class QString;

namespace kestrelnet {

/// UTF-8 as Qt's text. Unlike QString::fromUtf8, keeps a byte order mark.
QString decoded(std::string_view text);

} // namespace kestrelnet
