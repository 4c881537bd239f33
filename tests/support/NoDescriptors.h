// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>

namespace kestrelnet {

/// While it exists, this process can open no more descriptors. Open ones stay usable.
class NoDescriptors {
  public:
    NoDescriptors();
    ~NoDescriptors();
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

  private:
    rlimit before_{};
};

} // namespace kestrelnet
