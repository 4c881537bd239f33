// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace kestrelnet {

/// A named pipe that other processes use, seen from outside. The sources are in one folder per
/// system.
class NamedPipe {
  public:
    /// Remembers the named pipe that is at `path` now, also when another one takes its place later.
    /// Does not open the pipe for reading or writing: a process that waits for the other end still
    /// waits. Returns null when there is no named pipe, when no descriptor is available, and on a
    /// system that does not support unread().
    static std::unique_ptr<NamedPipe> at(const std::string& path);
    ~NamedPipe();
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;

    /// The number of bytes that were written and not read. 0 when nobody has the pipe open for
    /// reading, and when no descriptor is available. Any thread.
    std::size_t unread() const;

  private:
    explicit NamedPipe(int descriptor) : descriptor_(descriptor) {}

    const int descriptor_;
};

} // namespace kestrelnet
