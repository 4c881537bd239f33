// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <string_view>

namespace kestrelnet {

/// Converts UTF-8 to the toolkit's text.
inline QString qtText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace kestrelnet
