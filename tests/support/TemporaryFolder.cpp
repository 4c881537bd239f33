// SPDX-License-Identifier: MIT
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace kestrelnet {

TemporaryFolder::TemporaryFolder()
    : path_((std::filesystem::temp_directory_path() / "kestrelnet-test-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) {
        ADD_FAILURE() << "no temporary folder could be created";
    }
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(std::string_view name, std::string_view text) const {
    std::string path = file(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

std::string readFile(const std::string& path) {
    // Reading a file of /proc may fail in the middle when its process ends.
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace kestrelnet
