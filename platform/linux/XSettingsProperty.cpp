// SPDX-License-Identifier: MIT
#include "platform/linux/XSettings.h"

#include <cstddef>
#include <optional>
#include <string>

namespace kestrelnet {

namespace {

enum Type : std::uint8_t { integer = 0, text = 1, color = 2 };

constexpr std::size_t alignment = 4;
constexpr std::size_t colorSize = 8;

/// Takes values from the front of the bytes. Each result is missing if there are too few.
class Bytes {
  public:
    explicit Bytes(std::string_view bytes) : bytes_(bytes) {}

    void setBigEndian(bool isBigEndian) { isBigEndian_ = isBigEndian; }

    std::optional<std::uint32_t> number(std::size_t size) {
        const auto part = take(size);
        if (!part) {
            return std::nullopt;
        }
        std::uint32_t result = 0;
        for (std::size_t i = 0; i < size; ++i) {
            const auto byte = static_cast<std::uint8_t>((*part)[isBigEndian_ ? i : size - 1 - i]);
            result = result << 8U | byte;
        }
        return result;
    }

    /// A text and the bytes that follow it up to the next aligned place.
    std::optional<std::string> paddedText(std::size_t size) {
        const auto part = take(size);
        const std::size_t padding = (alignment - size % alignment) % alignment;
        return part && take(padding) ? std::optional(std::string(*part)) : std::nullopt;
    }

    std::optional<std::string_view> take(std::size_t size) {
        if (size > bytes_.size()) {
            return std::nullopt;
        }
        const std::string_view result = bytes_.substr(0, size);
        bytes_.remove_prefix(size);
        return result;
    }

  private:
    std::string_view bytes_;
    bool isBigEndian_ = false;
};

/// Reads one setting into the group; returns false at a mistake.
bool readSetting(Bytes& bytes, SettingGroup& group) {
    const auto type = bytes.number(1);
    const auto nameSize = bytes.take(1) ? bytes.number(2) : std::nullopt;
    const auto name = nameSize ? bytes.paddedText(*nameSize) : std::nullopt;
    const auto serial = bytes.number(4);
    if (!type || !name || !serial) {
        return false;
    }
    if (*type == color) {
        return bytes.take(colorSize).has_value();
    }
    const auto number = bytes.number(4);
    if (!number || *type > color) {
        return false;
    }
    if (*type == integer) {
        group.insert_or_assign(*name, std::int64_t{static_cast<std::int32_t>(*number)});
        return true;
    }
    auto value = bytes.paddedText(*number);
    if (value) {
        group.insert_or_assign(*name, std::move(*value));
    }
    return value.has_value();
}

} // namespace

SettingGroup settingsFromXProperty(std::string_view content) {
    Bytes bytes(content);
    SettingGroup result;
    const auto order = bytes.number(1);
    bytes.setBigEndian(order == 1U);
    const bool hasHeader = bytes.take(3) && bytes.number(4);
    const auto count = hasHeader ? bytes.number(4) : std::nullopt;
    for (std::uint32_t setting = 0; setting < count.value_or(0); ++setting) {
        if (!readSetting(bytes, result)) {
            break;
        }
    }
    return result;
}

} // namespace kestrelnet
