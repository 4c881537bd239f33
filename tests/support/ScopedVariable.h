// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

namespace kestrelnet {

/// A variable of this process for the time of a test.
class ScopedVariable {
  public:
    ScopedVariable(const char* name, const char* value) : name_(name) { ::setenv(name, value, 1); }
    ~ScopedVariable() { ::unsetenv(name_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

  private:
    const char* name_;
};

} // namespace kestrelnet
