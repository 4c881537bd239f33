// SPDX-License-Identifier: MIT
#pragma once

#include "platform/UserDefaults.h"

#include "platform/FileManager.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace kestrelnet {

/// A test with a folder for the file of the settings.
class UserDefaultsTest : public testing::Test {
  protected:
    static constexpr std::string_view keyName = "kestrelnet_api_key";
    static constexpr std::string_view switchName = "kestrelnet_auto_connect";

    /// The values that a new process finds. Reads a copy, because this process may cache the file.
    UserDefaults fromDisk() {
        const std::string copy = folder.file("copy" + std::to_string(++copies_) + ".conf");
        std::filesystem::copy_file(path, copy);
        return UserDefaults(copy);
    }

    /// Writes the file as another process does.
    void writeFile(std::string_view text) { ASSERT_TRUE(files::writeAtomically(path, text)); }

    TemporaryFolder folder;
    const std::string path = folder.file("settings.conf");

  private:
    int copies_ = 0;
};

} // namespace kestrelnet
