// SPDX-License-Identifier: MIT
#include "platform/linux/standins/AppleScriptStatement.h"

#include <algorithm>
#include <initializer_list>

namespace kestrelnet {

namespace {

constexpr std::string_view blanks = " \t";
constexpr std::string_view blanksAndLineEnds = " \t\r\n";

class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text) {}

    bool atEnd() const { return text_.empty(); }

    /// Whether there was one of `characters` at least.
    bool skip(std::string_view characters) {
        const std::size_t length = std::min(text_.find_first_not_of(characters), text_.size());
        text_.remove_prefix(length);
        return length != 0;
    }

    bool take(std::string_view word) {
        if (!text_.starts_with(word)) {
            return false;
        }
        text_.remove_prefix(word.size());
        return true;
    }

    /// Words with blanks between them.
    bool take(std::initializer_list<std::string_view> words) {
        bool isFirst = true;
        for (const std::string_view word : words) {
            if ((!isFirst && !skip(blanks)) || !take(word)) {
                return false;
            }
            isFirst = false;
        }
        return true;
    }

    /// A string up to its closing quote, the opening one being read.
    std::optional<std::string> takeString() {
        std::string value;
        while (!text_.empty()) {
            char character = takeCharacter();
            if (character == '"') {
                return value;
            }
            if (character == '\\') {
                const auto meant = takeEscape();
                if (!meant) {
                    return std::nullopt;
                }
                character = *meant;
            }
            if (character == '\0') {
                return std::nullopt;
            }
            value += character;
        }
        return std::nullopt;
    }

  private:
    char takeCharacter() {
        const char character = text_.front();
        text_.remove_prefix(1);
        return character;
    }

    std::optional<char> takeEscape() {
        switch (text_.empty() ? '\0' : takeCharacter()) {
        case '\\':
            return '\\';
        case '"':
            return '"';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return std::nullopt;
        }
    }

    std::string_view text_;
};

} // namespace

std::optional<std::string> administratorCommand(std::string_view script) {
    Reader reader(script);
    reader.skip(blanksAndLineEnds);
    if (!reader.take({"do", "shell", "script"})) {
        return std::nullopt;
    }
    reader.skip(blanks);
    if (!reader.take("\"")) {
        return std::nullopt;
    }
    auto command = reader.takeString();
    reader.skip(blanks);
    if (!command || !reader.take({"with", "administrator", "privileges"})) {
        return std::nullopt;
    }
    reader.skip(blanksAndLineEnds);
    return reader.atEnd() ? command : std::nullopt;
}

} // namespace kestrelnet
