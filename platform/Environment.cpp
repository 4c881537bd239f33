// SPDX-License-Identifier: MIT
#include "platform/Environment.h"

#include <string_view>

// Not every system declares it in a header.
// NOLINTNEXTLINE(readability-redundant-declaration)
extern char** environ;

namespace kestrelnet {

Environment currentEnvironment() {
    Environment environment;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text = *entry;
        if (const auto separator = text.find('='); separator != std::string_view::npos) {
            environment.emplace(text.substr(0, separator), text.substr(separator + 1));
        }
    }
    return environment;
}

} // namespace kestrelnet
