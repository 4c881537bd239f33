// SPDX-License-Identifier: MIT
#include "platform/ProgramStart.h"

#include <cstdlib>

namespace kestrelnet {

bool startedByPerson(const char* quietVariable) {
    const bool isMarked = std::getenv(quietVariable) != nullptr;
    ::unsetenv(quietVariable);
    return !isMarked;
}

} // namespace kestrelnet
