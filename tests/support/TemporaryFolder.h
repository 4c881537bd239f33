// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kestrelnet {

/// A new folder for the time of a test; goes away with all it holds.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Without a separator at the end.
    const std::string& path() const { return path_; }
    std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Writes a file with all the folders above it; returns its path.
    std::string write(std::string_view name, std::string_view text) const;

  private:
    std::string path_;
};

/// The whole of the file at `path`; empty when it cannot be read.
std::string readFile(const std::string& path);

} // namespace kestrelnet
