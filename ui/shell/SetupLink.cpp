// SPDX-License-Identifier: MIT
#include "ui/shell/SetupLink.h"

#include "platform/Text.h"

#include <algorithm>
#include <cstddef>

namespace kestrelnet {

namespace {

constexpr std::string_view linkScheme = "kestrelnet";
constexpr std::string_view linkPlace = "setup";
constexpr std::string_view keyItem = "key";
constexpr std::string_view keyPrefix = "dev_";
constexpr std::size_t shortestKey = 11;

// The characters that RFC 3986 lets stand for themselves.
constexpr std::string_view unreservedMarks = "-._~";
constexpr std::string_view subDelimiters = "!$&'()*+,;=";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

std::optional<unsigned> hexValue(char c) {
    if (isDigit(c)) {
        return static_cast<unsigned>(c - '0');
    }
    if (c >= 'a' && c <= 'f') {
        return static_cast<unsigned>(c - 'a') + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return static_cast<unsigned>(c - 'A') + 10;
    }
    return std::nullopt;
}

/// The byte that the escape at the start of `text` stands for.
std::optional<char> escapedByte(std::string_view text) {
    if (text.size() < 3 || text[0] != '%') {
        return std::nullopt;
    }
    const auto high = hexValue(text[1]);
    const auto low = hexValue(text[2]);
    if (!high || !low) {
        return std::nullopt;
    }
    return static_cast<char>(*high * 16 + *low);
}

/// Whether `part` consists of unreserved characters, sub-delimiters, sound escapes and `extra`.
bool isWellFormed(std::string_view part, std::string_view extra) {
    while (!part.empty()) {
        const char c = part.front();
        if (c == '%') {
            if (!escapedByte(part)) {
                return false;
            }
            part.remove_prefix(3);
            continue;
        }
        if (!isLetter(c) && !isDigit(c) && unreservedMarks.find(c) == std::string_view::npos &&
            subDelimiters.find(c) == std::string_view::npos &&
            extra.find(c) == std::string_view::npos) {
            return false;
        }
        part.remove_prefix(1);
    }
    return true;
}

/// The text behind the escapes of a well-formed part; none when it is not UTF-8.
std::optional<std::string> decoded(std::string_view part) {
    std::string result;
    while (!part.empty()) {
        const auto byte = escapedByte(part);
        result += byte.value_or(part.front());
        part.remove_prefix(byte ? 3 : 1);
    }
    if (!text::isValidUtf8(result)) {
        return std::nullopt;
    }
    return result;
}

/// What stands before the first `separator`; `rest` becomes what stands behind it, or none.
std::string_view split(std::string_view text, char separator,
                       std::optional<std::string_view>& rest) {
    const std::size_t position = text.find(separator);
    if (position != std::string_view::npos) {
        rest = text.substr(position + 1);
    }
    return text.substr(0, position);
}

/// The host of an authority, undecoded; none when the authority is malformed. A literal address in
/// brackets counts as malformed: no place of ours is called that.
std::optional<std::string_view> hostOf(std::string_view authority) {
    std::optional<std::string_view> behindUser;
    const std::string_view user = split(authority, '@', behindUser);
    if (behindUser && !isWellFormed(user, ":")) {
        return std::nullopt;
    }
    std::optional<std::string_view> port;
    const std::string_view host = split(behindUser.value_or(authority), ':', port);
    if (!isWellFormed(host, {}) || (port && !std::all_of(port->begin(), port->end(), isDigit))) {
        return std::nullopt;
    }
    return host;
}

/// Whether what stands between scheme and query names the place where keys are set up: as the host,
/// or as the whole path.
bool isSetupPlace(std::string_view hierarchy) {
    if (!hierarchy.starts_with("//")) {
        return isWellFormed(hierarchy, ":@/") && decoded(hierarchy) == linkPlace;
    }
    hierarchy.remove_prefix(2);
    const std::size_t pathStart = std::min(hierarchy.find('/'), hierarchy.size());
    const auto host = hostOf(hierarchy.substr(0, pathStart));
    return host && isWellFormed(hierarchy.substr(pathStart), ":@/") && decoded(*host) == linkPlace;
}

/// The decoded value of the first item that is named "key"; none when that item has no value.
std::optional<std::string> keyIn(std::string_view query) {
    std::optional<std::string_view> items = query;
    while (items) {
        const std::string_view all = *items;
        items.reset();
        std::optional<std::string_view> value;
        const std::string_view name = split(split(all, '&', items), '=', value);
        if (decoded(name) == keyItem) {
            return value ? decoded(*value) : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> setupKey(std::string_view url) {
    std::optional<std::string_view> behindScheme;
    if (split(url, ':', behindScheme) != linkScheme || !behindScheme) {
        return std::nullopt;
    }
    std::optional<std::string_view> fragment;
    std::optional<std::string_view> query;
    const std::string_view hierarchy = split(split(*behindScheme, '#', fragment), '?', query);
    constexpr std::string_view queryCharacters = ":@/?";
    if (!query || !isWellFormed(*query, queryCharacters) ||
        !isWellFormed(fragment.value_or(std::string_view{}), queryCharacters) ||
        !isSetupPlace(hierarchy)) {
        return std::nullopt;
    }
    std::optional<std::string> key = keyIn(*query);
    if (!key || !key->starts_with(keyPrefix) || text::characterCount(*key) < shortestKey) {
        return std::nullopt;
    }
    return key;
}

} // namespace kestrelnet
