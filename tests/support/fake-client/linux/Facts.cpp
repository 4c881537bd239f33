// SPDX-License-Identifier: MIT
#include "tests/support/fake-client/Facts.h"

#include <filesystem>

namespace fakeClient {

std::string processSpace() {
    return std::filesystem::read_symlink("/proc/self/ns/pid").string();
}

std::string programPath() {
    return std::filesystem::read_symlink("/proc/self/exe").string();
}

std::array<uid_t, 3> users() {
    std::array<uid_t, 3> ids{};
    getresuid(&ids[0], &ids[1], &ids[2]);
    return ids;
}

} // namespace fakeClient
