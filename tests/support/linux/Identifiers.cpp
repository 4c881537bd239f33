// SPDX-License-Identifier: MIT
#include "tests/support/Identifiers.h"

#include <unistd.h>

namespace kestrelnet {

bool becomeForAWhile(uid_t id) {
    // The real identifiers too, which access() uses.
    return ::setresgid(id, id, 0) == 0 && ::setresuid(id, id, 0) == 0;
}

bool becomeRootAgain() {
    return ::setresuid(0, 0, 0) == 0 && ::setresgid(0, 0, 0) == 0;
}

} // namespace kestrelnet
