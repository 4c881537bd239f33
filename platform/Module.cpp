// SPDX-License-Identifier: MIT
#include "platform/Module.h"

#include <cstdio>
#include <dlfcn.h>

namespace kestrelnet {

void* moduleFunction(const char* module, const char* function) {
    void* const loaded = ::dlopen(module, RTLD_LAZY | RTLD_LOCAL);
    void* const found = loaded == nullptr ? nullptr : ::dlsym(loaded, function);
    if (found == nullptr) {
        // Written even when logging is off: the installation is incomplete.
        static_cast<void>(std::fprintf(stderr, "A module cannot be used: %s\n", ::dlerror()));
    }
    return found;
}

} // namespace kestrelnet
