// SPDX-License-Identifier: MIT
#include "privileged/Containment.h"

namespace kestrelnet::privileged::containment {

void Processes::ask(pid_t target) {
    if (asked_.insert(target).second) {
        ::kill(target, SIGTERM);
        // A stopped process gets it only when it continues.
        ::kill(target, SIGCONT);
    }
}

} // namespace kestrelnet::privileged::containment
