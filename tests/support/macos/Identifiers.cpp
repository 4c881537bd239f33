// SPDX-License-Identifier: MIT
#include "tests/support/Identifiers.h"

#include <unistd.h>

namespace kestrelnet {

bool becomeForAWhile(uid_t id) {
    // The real user stays root: the saved one cannot be chosen here. access() answers for root.
    return ::setegid(id) == 0 && ::seteuid(id) == 0;
}

bool becomeRootAgain() {
    return ::seteuid(0) == 0 && ::setegid(0) == 0;
}

} // namespace kestrelnet
