// SPDX-License-Identifier: MIT
// Checks two properties: a command that was read and is written into a statement again reads the
// same, and every text without NUL can be written as a command.
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
    const bool isCommand = text.find('\0') == std::string::npos;
    const auto read = kestrelnet::administratorCommand(statement(text));
    if (read.has_value() != isCommand || (read && *read != text)) {
        std::abort();
    }
    return 0;
}
