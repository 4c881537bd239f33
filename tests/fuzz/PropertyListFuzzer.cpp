// SPDX-License-Identifier: MIT
// Whatever the text: it is a property list, or is refused with a reason; and a login agent that is
// understood names a file of its own and a program by its path, and has an entry of nine lines.
#include "platform/PropertyList.h"
#include "platform/linux/standins/AutostartEntry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

// NOLINTNEXTLINE(readability-identifier-naming): the name that the fuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto parsed = kestrelnet::propertyList::parse(text);
    const auto* const error = std::get_if<kestrelnet::Error>(&parsed);
    if (error != nullptr && error->description.empty()) {
        std::abort();
    }
    const auto read = kestrelnet::launchAgent(text);
    const auto* const agent = std::get_if<kestrelnet::LaunchAgent>(&read);
    if (agent == nullptr) {
        return 0;
    }
    const std::string entry = kestrelnet::autostartEntry(*agent);
    if (error != nullptr || agent->label.find('/') != std::string::npos ||
        !agent->arguments.front().starts_with('/') ||
        std::count(entry.begin(), entry.end(), '\n') != 9) {
        std::abort();
    }
    return 0;
}
