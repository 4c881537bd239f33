// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

namespace kestrelnet {

/// Sets an environment variable, and removes it in the destructor.
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
