// SPDX-License-Identifier: MIT
// Reads XML property lists, the format of Info.plist and of the login agent. Any thread.
#pragma once

#include "platform/Error.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrelnet::propertyList {

struct Value;
using Array = std::vector<Value>;
using Dictionary = std::map<std::string, Value, std::less<>>;
/// A number, a date or data; the content is not kept.
struct Other {
    bool operator==(const Other&) const = default;
};

struct Value {
    std::variant<Other, std::string, bool, Array, Dictionary> content;

    /// The content if it has that type, else null.
    const std::string* text() const { return std::get_if<std::string>(&content); }
    const bool* boolean() const { return std::get_if<bool>(&content); }
    const Array* array() const { return std::get_if<Array>(&content); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&content); }
    /// The value of `key` if this is a dictionary that contains it, else null.
    const Value* at(std::string_view key) const;

    bool operator==(const Value&) const = default;
};

/// The largest accepted size of a text, in bytes.
constexpr std::int64_t largest = 1024LL * 1024;

/// Parses `text`, which must be UTF-8. Returns its value, or the reason, with the line, why it is
/// not a property list. More than 32 levels of nesting are an error. Of equal keys the last one
/// counts.
std::variant<Value, Error> parse(std::string_view text);

} // namespace kestrelnet::propertyList
