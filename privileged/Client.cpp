// SPDX-License-Identifier: MIT
#include "privileged/Client.h"

#include "privileged/Execute.h"
#include "privileged/Identity.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace kestrelnet::privileged {

namespace {

constexpr std::size_t longestValue = 4096;

/// Besides `rootsVariables`.
constexpr std::array fixedEntries{"USER=root", "LOGNAME=root", "LANG=C.UTF-8"};

} // namespace

std::optional<ClientValues> ClientValues::fromEnvironment() {
    ClientValues values;
    for (std::size_t index = 0; index < names.size(); ++index) {
        const char* const value = std::getenv(names[index]);
        if (value == nullptr) {
            continue;
        }
        if (std::strlen(value) > longestValue) {
            return std::nullopt;
        }
        values.entries[index] = std::string(names[index]) + '=' + value;
    }
    return values;
}

const char* becomeClient(const TrustedFile& client, const ClientValues& values) {
    std::array<char*, rootsVariables.size() + fixedEntries.size() + ClientValues::names.size() + 1>
        environment{};
    std::size_t count = 0;
    for (const char* entry : rootsVariables) {
        environment[count++] = const_cast<char*>(entry);
    }
    for (const char* entry : fixedEntries) {
        environment[count++] = const_cast<char*>(entry);
    }
    for (const std::string& entry : values.entries) {
        if (!entry.empty()) {
            environment[count++] = const_cast<char*>(entry.c_str());
        }
    }
    const std::array<char*, 2> arguments{const_cast<char*>(clientPath), nullptr};
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing < 0 || ::dup2(nothing, STDIN_FILENO) < 0) {
        return "its standard input cannot be set up";
    }
    execute(client, clientPath, arguments.data(), environment.data());
    return std::strerror(errno);
}

} // namespace kestrelnet::privileged
