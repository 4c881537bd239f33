// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kestrelnet {

/// A new folder, removed with its content by the destructor.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Without a trailing separator.
    const std::string& path() const { return path_; }
    std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// Writes a file, and creates its parent folders; returns its path.
    std::string write(std::string_view name, std::string_view text) const;

  private:
    std::string path_;
};

/// Returns the content of the file at `path`; empty if it cannot be read.
std::string readFile(const std::string& path);

} // namespace kestrelnet
