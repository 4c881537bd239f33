// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

namespace kestrelnet {

/// While it exists, this process can create no more threads. Running threads continue.
class NoThreads {
  public:
    NoThreads();
    ~NoThreads();
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

  private:
    pthread_attr_t before_{};
};

} // namespace kestrelnet
