// SPDX-License-Identifier: MIT
#include "platform/SettingsText.h"

#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace kestrelnet::settingsText {

namespace {

constexpr std::string_view blanks = " \t";
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

/// One entry of a file. A quoted value may contain line feeds.
struct Line {
    std::string_view text;
    bool isGeneral = true;
    /// Whether a quotation mark in it has no partner.
    bool isOpen = false;

    bool isComment() const { return text.starts_with(';') || text.starts_with('#'); }
    bool isSection() const { return text.starts_with('[') && text.ends_with(']'); }
    std::size_t equals() const { return text.find('='); }
    bool isValue() const {
        return !isComment() && !isSection() && !isOpen && equals() != std::string_view::npos;
    }
    bool isDamaged() const { return !isComment() && !isSection() && !isValue(); }
    bool isValueOf(std::string_view key) const {
        return isGeneral && isValue() && trimmed(text.substr(0, equals())) == key;
    }
};

/// Where the line that begins at `begin` ends. `isOpen` is set as in Line.
std::size_t lineEnd(std::string_view file, std::size_t begin, bool& isOpen) {
    if (file[begin] == ';' || file[begin] == '#') {
        return std::min(file.find_first_of("\r\n", begin), file.size());
    }
    for (std::size_t at = begin; at < file.size(); ++at) {
        const char character = file[at];
        if (character == '\\') {
            ++at;
        } else if (character == '"') {
            isOpen = !isOpen;
        } else if (!isOpen && (character == '\n' || character == '\r' || character == ';')) {
            return at;
        }
    }
    return file.size();
}

bool isGeneral(std::string_view section) {
    constexpr std::string_view name = "[general]";
    return std::equal(section.begin(), section.end(), name.begin(), name.end(),
                      [](char written, char expected) {
                          return std::tolower(static_cast<unsigned char>(written)) == expected;
                      });
}

std::vector<Line> linesOf(std::string_view file) {
    if (file.starts_with(byteOrderMark)) {
        file.remove_prefix(byteOrderMark.size());
    }
    std::vector<Line> lines;
    bool isInGeneral = true;
    for (std::size_t begin = 0;
         (begin = file.find_first_not_of(" \t\r\n", begin)) != std::string_view::npos;) {
        Line line;
        const std::size_t end = lineEnd(file, begin, line.isOpen);
        line.text = trimmed(file.substr(begin, end - begin));
        if (line.isSection()) {
            isInGeneral = isGeneral(line.text);
        }
        line.isGeneral = isInGeneral;
        lines.push_back(line);
        begin = end;
    }
    return lines;
}

// -- Reading a value ---------------------------------------------------------------------------

/// Appends a UTF-16 code unit to UTF-8 text. A half of a pair is kept in `high` until the other one
/// comes; alone it is replaced.
class CodeUnits {
  public:
    explicit CodeUnits(std::string& text) : text_(text) {}

    void add(std::uint32_t unit) {
        const bool isLow = unit >= 0xDC00 && unit <= 0xDFFF;
        if (isLow && high_ != 0) {
            append(0x10000 + ((high_ - 0xD800) << 10U) + (unit - 0xDC00));
            high_ = 0;
            return;
        }
        end();
        if (unit >= 0xD800 && unit <= 0xDBFF) {
            high_ = unit;
        } else {
            append(isLow || unit > 0xFFFF ? replacement : unit);
        }
    }

    void end() {
        if (high_ != 0) {
            append(replacement);
            high_ = 0;
        }
    }

  private:
    static constexpr std::uint32_t replacement = 0xFFFD;

    void append(std::uint32_t character) {
        const auto last = [character](unsigned shift) {
            return static_cast<char>(0x80U | ((character >> shift) & 0x3FU));
        };
        if (character < 0x80) {
            text_ += static_cast<char>(character);
        } else if (character < 0x800) {
            text_ += {static_cast<char>(0xC0U | (character >> 6U)), last(0)};
        } else if (character < 0x10000) {
            text_ += {static_cast<char>(0xE0U | (character >> 12U)), last(6), last(0)};
        } else {
            text_ += {static_cast<char>(0xF0U | (character >> 18U)), last(12), last(6), last(0)};
        }
    }

    std::string& text_;
    std::uint32_t high_ = 0;
};

/// Decodes quotation marks and escapes.
class Value {
  public:
    explicit Value(std::string_view written) : written_(written) {
        while (at_ < written_.size()) {
            const char character = written_[at_++];
            if (character == '\\') {
                decodeEscape();
                continue;
            }
            units_.end();
            if (character == '"') {
                isQuoted_ = !isQuoted_;
            } else if (character == ',' && !isQuoted_) {
                isList_ = true;
            } else {
                text_ += character;
            }
        }
        units_.end();
    }

    bool isList() const { return isList_; }
    const std::string& text() const { return text_; }

  private:
    void decodeEscape() {
        struct Escape {
            char letter;
            char meaning;
        };
        static constexpr std::array escapes{
            Escape{'a', '\a'}, Escape{'b', '\b'},  Escape{'f', '\f'},  Escape{'n', '\n'},
            Escape{'r', '\r'}, Escape{'t', '\t'},  Escape{'v', '\v'},  Escape{'"', '"'},
            Escape{'?', '?'},  Escape{'\'', '\''}, Escape{'\\', '\\'},
        };
        if (at_ == written_.size()) {
            return;
        }
        const char letter = written_[at_++];
        const auto* const escape =
            std::find_if(escapes.begin(), escapes.end(),
                         [letter](const Escape& each) { return each.letter == letter; });
        if (escape != escapes.end()) {
            units_.end();
            text_ += escape->meaning;
        } else if (letter == 'x') {
            decodeNumber(16);
        } else if (letter >= '0' && letter <= '7') {
            --at_;
            decodeNumber(8);
        }
        // Otherwise the character is left out, which continues a value on the next line.
    }

    void decodeNumber(std::uint32_t base) {
        std::uint32_t number = 0;
        for (; at_ < written_.size(); ++at_) {
            const auto digit = std::string_view("0123456789abcdef")
                                   .substr(0, base)
                                   .find(static_cast<char>(
                                       std::tolower(static_cast<unsigned char>(written_[at_]))));
            if (digit == std::string_view::npos) {
                break;
            }
            number = (number * base + static_cast<std::uint32_t>(digit)) & 0xFFFFU;
        }
        units_.add(number);
    }

    std::string_view written_;
    std::size_t at_ = 0;
    std::string text_;
    CodeUnits units_{text_};
    bool isQuoted_ = false;
    bool isList_ = false;
};

/// The meaning of a text that begins with '@'; nothing for an object.
std::optional<std::string> withoutMark(const std::string& text) {
    if (text.starts_with("@@")) {
        return text.substr(1);
    }
    for (const std::string_view object :
         {"@ByteArray(", "@Variant(", "@DateTime(", "@Rect(", "@Size(", "@Point(", "@Invalid()"}) {
        if (text.starts_with(object) && text.ends_with(')')) {
            return std::nullopt;
        }
    }
    constexpr std::string_view plain = "@String(";
    return text.starts_with(plain) && text.ends_with(')')
               ? text.substr(plain.size(), text.size() - plain.size() - 1)
               : text;
}

// -- Writing a value ---------------------------------------------------------------------------

bool isPlain(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 ||
           std::string_view("_-./:+").find(character) != std::string_view::npos;
}

std::string encoded(std::string_view text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) {
        return std::string(text);
    }
    std::string result = text.starts_with('@') ? "\"@" : "\"";
    bool isAfterNumber = false;
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        // A digit after a number would belong to it.
        if (code < ' ' || code == 0x7F || (isAfterNumber && std::isxdigit(code) != 0)) {
            std::array<char, 8> number{};
            std::snprintf(number.data(), number.size(), "\\x%x", code);
            result += number.data();
            isAfterNumber = true;
            continue;
        }
        isAfterNumber = false;
        if (character == '"' || character == '\\') {
            result += '\\';
        }
        result += character;
    }
    return result + '"';
}

} // namespace

std::optional<std::string> value(std::string_view file, std::string_view key) {
    const std::vector<Line> lines = linesOf(file);
    const auto line = std::find_if(lines.rbegin(), lines.rend(),
                                   [key](const Line& each) { return each.isValueOf(key); });
    if (line == lines.rend()) {
        return std::nullopt;
    }
    const Value found(trimmed(line->text.substr(line->equals() + 1)));
    if (found.isList() || !text::isValidUtf8(found.text())) {
        return std::nullopt;
    }
    return withoutMark(found.text());
}

std::string withValue(std::string_view file, std::string_view key, std::string_view value) {
    std::vector<Line> lines = linesOf(file);
    std::erase_if(lines,
                  [key](const Line& each) { return each.isDamaged() || each.isValueOf(key); });
    const auto lastGeneral =
        std::find_if(lines.rbegin(), lines.rend(), [](const Line& each) { return each.isGeneral; });
    const std::string added = std::string(key) + '=' + encoded(value);
    std::string result;
    const auto append = [&result](std::string_view line) { result.append(line).append("\n"); };
    if (lastGeneral == lines.rend()) {
        append("[General]");
        append(added);
    }
    for (const Line& line : lines) {
        append(line.text);
        if (lastGeneral != lines.rend() && &line == &*lastGeneral) {
            append(added);
        }
    }
    return result;
}

bool isDamaged(std::string_view file) {
    const std::vector<Line> lines = linesOf(file);
    return std::any_of(lines.begin(), lines.end(),
                       [](const Line& each) { return each.isDamaged(); });
}

} // namespace kestrelnet::settingsText
