// SPDX-License-Identifier: MIT
// Plain text functions for what other programs write into the desktop's settings, independent of
// the locale.
#pragma once

#include <charconv>
#include <cmath>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace kestrelnet {

/// The finite number that the whole text is; none for any other text.
inline std::optional<double> numberFrom(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) {
        return std::nullopt;
    }
    return number;
}

/// With the letters A to Z in lower case.
inline std::string lowerCase(std::string_view text) {
    std::string result(text);
    for (char& letter : result) {
        if (letter >= 'A' && letter <= 'Z') {
            letter = static_cast<char>(letter - 'A' + 'a');
        }
    }
    return result;
}

} // namespace kestrelnet
