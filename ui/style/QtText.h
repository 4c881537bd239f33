// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <string_view>

namespace kestrelnet {

/// UTF-8 text as the toolkit's.
inline QString qtText(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace kestrelnet
