// SPDX-License-Identifier: MIT
#include "platform/linux/standins/AppleScriptStatement.h"

namespace kestrelnet {

namespace {

constexpr std::string_view start = "do shell script \"";
constexpr std::string_view end = "\" with administrator privileges";

/// The character that a backslash and `letter` stand for.
std::optional<char> unescaped(char letter) {
    switch (letter) {
    case '\\':
    case '"':
        return letter;
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

} // namespace

std::optional<std::string> administratorCommand(std::string_view script) {
    if (script.size() < start.size() + end.size() || !script.starts_with(start) ||
        !script.ends_with(end)) {
        return std::nullopt;
    }
    script.remove_prefix(start.size());
    script.remove_suffix(end.size());
    std::string command;
    while (!script.empty()) {
        std::optional<char> character = script.front();
        script.remove_prefix(1);
        if (character == '"' || character == '\0') {
            return std::nullopt;
        }
        if (character == '\\') {
            // At the end it would escape the closing quote.
            character = script.empty() ? std::nullopt : unescaped(script.front());
            if (!character) {
                return std::nullopt;
            }
            script.remove_prefix(1);
        }
        command += *character;
    }
    return command;
}

} // namespace kestrelnet
