// SPDX-License-Identifier: MIT
#include "platform/Module.h"

#include <dlfcn.h>

namespace kestrelnet {

void* moduleFunction(const char* module, const char* function, std::string& reason) {
    void* const loaded = ::dlopen(module, RTLD_LAZY | RTLD_LOCAL);
    void* const found = loaded == nullptr ? nullptr : ::dlsym(loaded, function);
    if (found == nullptr) {
        reason = ::dlerror();
    }
    return found;
}

} // namespace kestrelnet
