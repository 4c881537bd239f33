// SPDX-License-Identifier: MIT
#pragma once

#include <csignal>
#include <sys/resource.h>

namespace kestrelnet {

/// As long as it exists, this process can write only `size` bytes to a file, as if the disk were
/// full then. One at a time.
class FullDisk {
  public:
    explicit FullDisk(rlim_t size = 8);
    ~FullDisk();
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit before_{};
    void (*handler_)(int);
};

} // namespace kestrelnet
