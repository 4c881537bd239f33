// SPDX-License-Identifier: MIT
#include "platform/linux/FontName.h"

#include "platform/linux/SettingText.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace kestrelnet {

namespace {

/// A longer text is no name of a font.
constexpr std::size_t longestText = 512;

constexpr double smallestPoints = 4;
constexpr double largestPoints = 72;
constexpr double pointsOfAPixel = 0.75;

constexpr auto blanks = " \t\n\r";

constexpr std::array<std::pair<std::string_view, int>, 19> weights{{
    {"thin", 100},       {"ultra-light", 200}, {"extra-light", 200},  {"light", 300},
    {"semi-light", 350}, {"demi-light", 350},  {"book", 380},         {"regular", 400},
    {"normal", 400},     {"roman", 400},       {"medium", 500},       {"semi-bold", 600},
    {"demi-bold", 600},  {"bold", 700},        {"ultra-bold", 800},   {"extra-bold", 800},
    {"heavy", 900},      {"black", 900},       {"ultra-heavy", 1000},
}};

/// The weights of KDE's older fields, from 0 to 99, each with the first one above it.
constexpr std::array<std::pair<double, int>, 8> formerWeights{{
    {6, 100},
    {18, 200},
    {37, 300},
    {53, 400},
    {60, 500},
    {69, 600},
    {78, 700},
    {84, 800},
}};

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::string_view lastWord(std::string_view text) {
    const std::size_t blank = text.find_last_of(blanks);
    return blank == std::string_view::npos ? text : text.substr(blank + 1);
}

std::string_view withoutLastWord(std::string_view text) {
    return trimmed(text.substr(0, text.size() - lastWord(text).size()));
}

double validPoints(double points) {
    return points >= smallestPoints && points <= largestPoints ? points : 0;
}

/// The number of points in the word of a size; none for any other word.
std::optional<double> pointsFromWord(std::string_view word) {
    const bool isInPixels = word.ends_with("px");
    const auto size = numberFrom(isInPixels ? word.substr(0, word.size() - 2) : word);
    if (!size) {
        return std::nullopt;
    }
    return validPoints(isInPixels ? *size * pointsOfAPixel : *size);
}

/// Applies the word of a style; returns false for any other word.
bool applyStyle(DesktopFont& font, std::string_view word) {
    const std::string name = lowerCase(word);
    if (name == "italic" || name == "oblique") {
        font.isItalic = true;
        return true;
    }
    for (const auto& [known, weight] : weights) {
        if (name == known) {
            font.weight = weight;
            return true;
        }
    }
    return false;
}

std::string firstFamily(std::string_view list) {
    return std::string(trimmed(list.substr(0, list.find(','))));
}

int weightFromField(double number) {
    constexpr double smallestOfToday = 100;
    constexpr int largest = 1000;
    constexpr int heaviestFormer = 900;
    if (number > largest) {
        return DesktopFont().weight;
    }
    if (number >= smallestOfToday) {
        return static_cast<int>(number);
    }
    for (const auto& [end, weight] : formerWeights) {
        if (number < end) {
            return weight;
        }
    }
    return heaviestFormer;
}

std::vector<std::string_view> fields(std::string_view text) {
    std::vector<std::string_view> result;
    for (;;) {
        const std::size_t comma = text.find(',');
        result.push_back(trimmed(text.substr(0, comma)));
        if (comma == std::string_view::npos) {
            return result;
        }
        text.remove_prefix(comma + 1);
    }
}

} // namespace

std::optional<DesktopFont> fontFromDescription(std::string_view text) {
    if (text.size() > longestText) {
        return std::nullopt;
    }
    std::string_view rest = trimmed(text);
    // Variations and features of the font.
    while (lastWord(rest).starts_with('@') || lastWord(rest).starts_with('#')) {
        rest = withoutLastWord(rest);
    }
    DesktopFont font;
    if (const auto points = pointsFromWord(lastWord(rest))) {
        font.points = *points;
        rest = withoutLastWord(rest);
    }
    while (applyStyle(font, lastWord(rest))) {
        rest = withoutLastWord(rest);
    }
    font.family = firstFamily(rest);
    return font.family.empty() ? std::nullopt : std::optional(font);
}

std::optional<DesktopFont> fontFromFields(std::string_view text) {
    enum Field : std::size_t { family, points, pixels, styleHint, weight, italic, fieldCount };
    if (text.size() > longestText) {
        return std::nullopt;
    }
    std::vector<std::string_view> all = fields(text);
    all.resize(std::max<std::size_t>(all.size(), fieldCount));
    DesktopFont font{.family = std::string(all[family])};
    font.points = validPoints(numberFrom(all[points]).value_or(0));
    if (font.points == 0) {
        font.points = validPoints(numberFrom(all[pixels]).value_or(0) * pointsOfAPixel);
    }
    if (const auto number = numberFrom(all[weight]); number && *number > 0) {
        font.weight = weightFromField(*number);
    }
    font.isItalic = numberFrom(all[italic]).value_or(0) > 0;
    return font.family.empty() ? std::nullopt : std::optional(font);
}

} // namespace kestrelnet
