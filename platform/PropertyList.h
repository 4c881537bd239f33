// SPDX-License-Identifier: MIT
// XML property lists, as the system's own files and the login agent are written. Any thread.
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
/// A number, a date or data, which nobody here reads.
struct Other {
    bool operator==(const Other&) const = default;
};

struct Value {
    std::variant<Other, std::string, bool, Array, Dictionary> content;

    /// The content when it is of that kind, else null.
    const std::string* text() const { return std::get_if<std::string>(&content); }
    const bool* boolean() const { return std::get_if<bool>(&content); }
    const Array* array() const { return std::get_if<Array>(&content); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&content); }
    /// The value under `key` of a dictionary; null where there is none.
    const Value* at(std::string_view key) const;

    bool operator==(const Value&) const = default;
};

/// The bytes of the longest text that is read.
constexpr std::int64_t largest = 1024LL * 1024;

/// The value that `text`, UTF-8, holds; or why it is no property list, with the line. Nested no
/// deeper than 32 levels. Of equal keys the last one counts.
std::variant<Value, Error> parse(std::string_view text);

} // namespace kestrelnet::propertyList
