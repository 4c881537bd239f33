// SPDX-License-Identifier: MIT
// Whatever the text: a command that is understood, put back between quotes, is the same command.
#include "platform/linux/standins/AppleScriptStatement.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

std::string statement(const std::string& command) {
    std::string text = "do shell script \"";
    for (const char character : command) {
        if (character == '"' || character == '\\') {
            text += '\\';
        }
        text += character;
    }
    return text + "\" with administrator privileges";
}

} // namespace

// NOLINTNEXTLINE(readability-identifier-naming): the name that the fuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto command = kestrelnet::administratorCommand(text);
    if (command && (kestrelnet::administratorCommand(statement(*command)) != command ||
                    command->find('\0') != std::string::npos)) {
        std::abort();
    }
    // The text itself as a command: what holds no NUL can be said.
    const bool canBeSaid = text.find('\0') == std::string::npos;
    const auto said = kestrelnet::administratorCommand(statement(text));
    if (said.has_value() != canBeSaid || (said && *said != text)) {
        std::abort();
    }
    return 0;
}
