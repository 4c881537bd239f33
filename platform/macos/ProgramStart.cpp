// SPDX-License-Identifier: MIT
#include "platform/ProgramStart.h"

namespace kestrelnet {

bool startedByPerson(const char* /*quietVariable*/) {
    return false;
}

} // namespace kestrelnet
