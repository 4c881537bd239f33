// SPDX-License-Identifier: MIT
#include "ui/widgets/Excerpt.h"

#include <cstddef>

namespace kestrelnet {

namespace {

constexpr std::size_t longestWhole = 2048;
constexpr std::size_t longestEnd = longestWhole / 2;
constexpr std::string_view ellipsis = "\u2026";

bool isInsideCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

std::string excerpt(std::string_view text) {
    if (text.size() <= longestWhole) {
        return std::string(text);
    }
    std::size_t headEnd = longestEnd;
    while (headEnd > 0 && isInsideCharacter(text[headEnd])) {
        --headEnd;
    }
    std::size_t tailBegin = text.size() - longestEnd;
    while (tailBegin < text.size() && isInsideCharacter(text[tailBegin])) {
        ++tailBegin;
    }
    return std::string(text.substr(0, headEnd)).append(ellipsis).append(text.substr(tailBegin));
}

} // namespace kestrelnet
